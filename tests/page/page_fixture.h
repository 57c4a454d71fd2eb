// page_fixture.h: the pages in tests/page/data.
#pragma once

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <memory>
#include <string>

#include "sifterra/page/WFTreeHTMLStripper.h"
#include "sifterra/platform/Data.h"

namespace sifterra {

inline platform::Data fixture(const std::string& name) {
  std::ifstream file(std::string(SIFTERRA_TEST_DATA "/") + name, std::ios::binary);
  EXPECT_TRUE(file.is_open()) << name;
  return platform::Data(std::string(std::istreambuf_iterator<char>(file), {}));
}

inline std::shared_ptr<WFTreeHTMLStripper> modelOfFixture(const std::string& name) {
  return WFTreeHTMLStripper::treeStripperWithData(fixture(name));
}

inline std::shared_ptr<WFTreeHTMLStripper> modelOf(std::string html) {
  return WFTreeHTMLStripper::treeStripperWithData(platform::Data(std::move(html)));
}

}  // namespace sifterra
