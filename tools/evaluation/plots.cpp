// How: gnuplot runs as a child without a shell, reads its script and data from one temporary file and
// writes the picture to another, in a directory of our own that is removed afterwards.
#include "evaluation/plots.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

extern char** environ;  // NOLINT(readability-redundant-declaration): only GNU's headers have it

namespace sifterra::tools {
namespace {

constexpr std::size_t kScoreBins = 40;

class TemporaryDirectory {
 public:
  TemporaryDirectory() {
    std::string name = (std::filesystem::temp_directory_path() / "sifterra-plot-XXXXXX").string();
    if (mkdtemp(name.data()) != nullptr) path_ = name;
  }
  ~TemporaryDirectory() {
    std::error_code ignored;
    if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
  }
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
  [[nodiscard]] const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

bool runGnuplot(const std::string& script, std::string& why) {
  std::string program = "gnuplot";
  std::string argument = script;
  std::array<char*, 3> arguments = {program.data(), argument.data(), nullptr};
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  pid_t child = 0;
  const int failed = posix_spawnp(&child, "gnuplot", &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (failed != 0) {
    why = "gnuplot, which draws the plots, cannot be run (Debian's package is gnuplot-nox)";
    return false;
  }
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return true;
  why = "gnuplot failed";
  return false;
}

// Every drawing of gnuplot has the same identifiers, and one page holds several drawings.
std::string withOwnIdentifiers(std::string svg, const std::string& name) {
  for (const std::string mark : {"id='", "id=\"", "href='#", "url(#"}) {
    for (std::size_t at = svg.find(mark); at != std::string::npos; at = svg.find(mark, at)) {
      at += mark.size();
      svg.insert(at, name + "-");
    }
  }
  return svg;
}

// The drawing of a script that plots into the SVG terminal; its identifiers begin with that name.
std::optional<std::string> drawn(const std::string& name, const std::string& commands, std::string& why) {
  const TemporaryDirectory directory;
  if (directory.path().empty()) {
    why = "no temporary directory for the plots";
    return std::nullopt;
  }
  const std::string script = (directory.path() / "plot.gp").string();
  const std::string picture = (directory.path() / "plot.svg").string();
  std::ofstream(script)
      << "set terminal svg size 640,420 dynamic font 'sans-serif,13' background rgb 'white'\n"
      << "set output '" << picture << "'\nset encoding utf8\nset grid lc rgb '#dddddd'\n"
      << commands;
  if (!runGnuplot(script, why)) return std::nullopt;
  std::ifstream stream(picture, std::ios::binary);
  const std::string svg((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
  const std::size_t start = svg.find("<svg");
  if (start == std::string::npos) {
    why = "gnuplot drew nothing";
    return std::nullopt;
  }
  return withOwnIdentifiers(svg.substr(start), name);
}

}  // namespace

std::optional<std::string> rocPlot(const Figures& figures, std::string& why) {
  std::ostringstream script;
  script << "$roc << END\n";
  for (const RocPoint& point : figures.roc) script << point.falsePositiveRate << ' ' << point.recall << '\n';
  script << "END\n$here << END\n"
         << figures.confusion.falsePositiveRate() << ' ' << figures.confusion.recall() << "\nEND\n"
         << "set title 'ROC curve'\nset xlabel 'false-positive rate'\nset ylabel 'recall'\n"
         << "set xrange [-0.005:0.2]\nset yrange [0.5:1.005]\nset key bottom right\n"
         << "plot $roc with steps lw 2 lc rgb '#1f5fa8' title 'all thresholds', "
         << "$here with points pt 7 ps 1 lc rgb '#b03020' title 'as shipped'\n";
  return drawn("roc", script.str(), why);
}

std::optional<std::string> scorePlot(const std::vector<EvaluatedPage>& pages, double threshold,
                                     std::string& why) {
  std::array<std::array<std::size_t, kScoreBins>, 2> counts{};
  for (const EvaluatedPage& page : pages) {
    if (!(page.score >= 0)) continue;  // not a number
    const auto bin = static_cast<std::size_t>(page.score * kScoreBins);
    ++counts[page.adult ? 1 : 0][std::min(bin, kScoreBins - 1)];
  }
  std::ostringstream script;
  script << "$scores << END\n";
  for (std::size_t bin = 0; bin < kScoreBins; ++bin) {
    script << (static_cast<double>(bin) + 0.5) / kScoreBins << ' ' << counts[0][bin] << ' ' << counts[1][bin]
           << '\n';
  }
  script << "END\nset title 'Scores'\nset xlabel 'score of the adult category'\nset ylabel 'pages'\n"
         << "set logscale y\nset yrange [0.7:*]\nset xrange [0:1]\nset key top center\n"
         << "set arrow from " << threshold << ", graph 0 to " << threshold << ", graph 1 nohead dt 2\n"
         << "plot $scores using 1:($2 > 0 ? $2 : 0.7) with histeps lw 2 lc rgb '#1f5fa8' title 'legitimate', "
         << "$scores using 1:($3 > 0 ? $3 : 0.7) with histeps lw 2 lc rgb '#b03020' title 'adult'\n";
  return drawn("scores", script.str(), why);
}

}  // namespace sifterra::tools
