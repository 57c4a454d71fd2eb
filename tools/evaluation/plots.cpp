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
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string_view>

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

constexpr std::array<const char*, 2> kColours = {"#1f5fa8", "#b03020"};

// "$curve0 << END ..." and "$here0 << END ...": the curve and the point of use of each map, by `x` and `y`.
template <class X, class Y>
void writeCurves(std::ostringstream& script, const std::vector<PlottedMap>& maps, X x, Y y) {
  for (std::size_t i = 0; i < maps.size(); ++i) {
    script << "$curve" << i << " << END\n";
    for (const RocPoint& point : maps[i].figures.roc)
      script << x(point.falsePositiveRate) << ' ' << y(point.recall) << '\n';
    const Confusion& used = maps[i].figures.confusion;
    script << "END\n$here" << i << " << END\n"
           << x(used.falsePositiveRate()) << ' ' << y(used.recall()) << "\nEND\n";
  }
}

std::string plotCurves(const std::vector<PlottedMap>& maps, const char* style) {
  std::ostringstream script;
  for (std::size_t i = 0; i < maps.size(); ++i) {
    const char* colour = kColours[i % kColours.size()];
    // With one map the point is told from the curve by its colour, with several from the other points.
    const char* pointColour = maps.size() == 1 ? kColours[1] : colour;
    const std::string used = maps.size() == 1 ? "as used" : maps[i].name + " as used";
    script << (i == 0 ? "plot " : ", ") << "$curve" << i << " with " << style << " lw 2 lc rgb '" << colour
           << "' title '" << maps[i].name << "', $here" << i << " with points pt 7 ps 1 lc rgb '"
           << pointColour << "' title '" << used << "'";
  }
  return script.str() + "\n";
}

}  // namespace

std::optional<std::string> rocPlot(const std::vector<PlottedMap>& maps, std::string& why) {
  const auto same = [](double rate) { return rate; };
  std::ostringstream script;
  writeCurves(script, maps, same, same);
  script << "set title 'ROC curve'\nset xlabel 'false-positive rate'\nset ylabel 'recall'\n"
         << "set xrange [-0.005:0.2]\nset yrange [0.5:1.005]\nset key bottom right\n"
         << plotCurves(maps, "steps");
  return drawn("roc", script.str(), why);
}

std::optional<std::string> detPlot(const std::vector<PlottedMap>& maps, std::string& why) {
  // A rate that was not seen at all has no place on this scale: it stands at the edge.
  const auto clipped = [](double rate) { return std::clamp(rate, 0.0002, 0.9998); };
  std::ostringstream script;
  writeCurves(script, maps, clipped, [&](double recall) { return clipped(1 - recall); });
  script << "set title 'DET curve'\nset xlabel 'legitimate pages restricted'\n"
         << "set ylabel 'adult pages missed'\n";
  for (const char* axis : {"x", "y"}) {
    script << "set " << axis << "tics (";
    const char* separator = "";
    for (const char* rate : {"0.02", "0.1", "0.5", "1", "2", "5", "10", "20", "40"}) {
      script << separator << "'" << rate << "%%' invnorm(" << rate << "/100.0)";
      separator = ", ";
    }
    script << ")\nset " << axis << "range [invnorm(0.00018):invnorm(0.5)]\n";
  }
  std::string plots = plotCurves(maps, "lines");
  for (std::size_t at = plots.find(" with "); at != std::string::npos; at = plots.find(" with ", at)) {
    constexpr std::string_view kUsing = " using (invnorm($1)):(invnorm($2))";
    plots.insert(at, kUsing);
    at += kUsing.size() + 1;
  }
  script << "set key top right\n" << plots;
  return drawn("det", script.str(), why);
}

std::optional<std::string> scorePlot(const std::vector<EvaluatedPage>& pages, double threshold,
                                     std::string& why) {
  const auto place = [](double score) {
    constexpr double kMostOdds = 5.0;  // powers of ten
    if (score <= 0 || score >= 1) return score <= 0 ? -kMostOdds : kMostOdds;
    return std::clamp(std::log10(score / (1 - score)), -kMostOdds, kMostOdds);
  };
  const double width = 10.0 / static_cast<double>(kScoreBins);
  std::array<std::array<std::size_t, kScoreBins>, 2> counts{};
  for (const EvaluatedPage& page : pages) {
    if (!(page.score >= 0)) continue;  // not a number
    const auto bin = static_cast<std::size_t>((place(page.score) + 5.0) / width);
    ++counts[page.adult ? 1 : 0][std::min(bin, kScoreBins - 1)];
  }
  std::ostringstream script;
  script << "$scores << END\n";
  for (std::size_t bin = 0; bin < kScoreBins; ++bin) {
    script << -5.0 + (static_cast<double>(bin) + 0.5) * width << ' ' << counts[0][bin] << ' '
           << counts[1][bin] << '\n';
  }
  const double at = place(threshold);
  script
      << "END\nset title 'Scores'\nset xlabel 'score of the adult category'\nset ylabel 'pages'\n"
      << "set xtics ('0' -5, '0.0001' -4, '0.001' -3, '0.01' -2, '0.1' -0.9542, '0.5' 0, '0.9' 0.9542, "
         "'0.99' 2, '0.999' 3, '0.9999' 4, '1' 5)\n"
      << "set logscale y\nset yrange [0.7:*]\nset xrange [-5.1:5.1]\nset key outside top right horizontal\n"
      << "set style fill solid 0.45 noborder\nset boxwidth " << width << "\nset arrow from " << at
      << ", graph 0 to " << at << ", graph 1 nohead dt 2 lw 2\n"
      << "plot $scores using 1:($2 > 0 ? $2 : 0.7) with boxes lc rgb '#1f5fa8' title 'legitimate', "
      << "$scores using 1:($3 > 0 ? $3 : 0.7) with boxes lc rgb '#b03020' title 'adult'\n";
  return drawn("scores", script.str(), why);
}

}  // namespace sifterra::tools
