// Test that ICU reads no file that the environment names. A program of its own: ICU asks the environment
// once.
#include <gtest/gtest.h>
#include <sys/inotify.h>
#include <unicode/uvernum.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "platform/CharacterSet.h"

namespace sifterra::platform {
namespace {

TEST(UnicodeData, IsNotLookedForWhereTheEnvironmentSays) {
  const std::filesystem::path root =
      std::filesystem::temp_directory_path() / ("icu-data-" + std::to_string(::getpid()));
  const std::filesystem::path package = root / ("icudt" U_ICU_VERSION_SHORT "l");
  std::filesystem::create_directories(package);
  std::ofstream(package / "ibm-912_P100-1995.cnv") << "no converter";
  ASSERT_EQ(::setenv("ICU_DATA", root.c_str(), 1), 0);
  const int watch = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
  ASSERT_GE(::inotify_add_watch(watch, package.c_str(), IN_OPEN), 0);

  EXPECT_EQ(decodeBytes("\xA1", "ISO-8859-2"), u"\u0104");

  char event[4096];
  EXPECT_LT(::read(watch, event, sizeof event), 0);  // nobody opened the file
  std::ifstream(package / "ibm-912_P100-1995.cnv").get();
  EXPECT_GT(::read(watch, event, sizeof event), 0);  // and it would have been seen
  ::close(watch);
  std::filesystem::remove_all(root);
}

}  // namespace
}  // namespace sifterra::platform
