// Manifests, folders of one category and self-labelled lines as one stream of labelled pages.
#include "evaluation/LabelledSource.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "evaluation/manifest.h"

namespace sifterra::tools {
namespace {

namespace fs = std::filesystem;

class LabelledSources : public testing::Test {
 protected:
  void SetUp() override {
    std::string name = (fs::temp_directory_path() / "sifterra-labelled-XXXXXX").string();
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    folder_ = name;
  }
  void TearDown() override { fs::remove_all(folder_); }

  std::string write(const std::string& name, const std::string& text) {
    const fs::path path = folder_ / name;
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << text;
    return path.string();
  }
  [[nodiscard]] std::string at(const std::string& name) const { return (folder_ / name).string(); }

  fs::path folder_;
};

TEST_F(LabelledSources, ManifestColumnsBecomeGroupsUnderTheNamesOfTheFirstLine) {
  const std::string path =
      write("m.tsv", "file\tlabel\tlang\tsource\n# a remark\n\na.html\t1\tde\tweb\r\nb.html\t2\t\tbook\n");
  const Manifest manifest = readManifest(path);
  EXPECT_TRUE(manifest.errors.empty());
  ASSERT_EQ(manifest.rows.size(), 2U);
  EXPECT_EQ(manifest.rows[0].file, at("a.html"));
  EXPECT_EQ(manifest.rows[0].label, 1);
  EXPECT_EQ(manifest.rows[0].groups, (std::map<std::string, std::string>{{"lang", "de"}, {"source", "web"}}));
  EXPECT_EQ(manifest.rows[1].groups, (std::map<std::string, std::string>{{"source", "book"}}));
}

TEST_F(LabelledSources, ManifestWithoutNamesNumbersItsColumns) {
  const Manifest manifest = readManifest(write("m.tsv", "a.html\t1\tx\ty\n"));
  ASSERT_EQ(manifest.rows.size(), 1U);
  EXPECT_EQ(manifest.rows[0].groups,
            (std::map<std::string, std::string>{{"column3", "x"}, {"column4", "y"}}));
}

TEST_F(LabelledSources, ManifestErrorsNameTheLine) {
  const std::string path = write("m.tsv", "a.html\t0\nb.html\nc.html\tten\n\t1\n");
  const Manifest manifest = readManifest(path);
  EXPECT_TRUE(manifest.rows.empty());
  ASSERT_EQ(manifest.errors.size(), 4U);
  EXPECT_EQ(manifest.errors[0], path + ":1: expected a file, a tab and a label from 1 to 9");
  EXPECT_EQ(manifest.errors[3], path + ":4: expected a file, a tab and a label from 1 to 9");
  EXPECT_EQ(readManifest(at("none")).errors, std::vector<std::string>{at("none") + ": cannot be read"});
  EXPECT_EQ(readManifest(write("empty.tsv", "")).errors,
            std::vector<std::string>{at("empty.tsv") + ": holds no page"});
}

TEST_F(LabelledSources, PagesOfFoldersManifestAndLinesComeWithTheirLabels) {
  write("good/a.html", "<p>a");
  write("pages/b.html", "<p>b");
  const std::string manifest = write("m.tsv", "pages/b.html\t2\tde\n");
  const std::string lines = write(
      "l.jsonl", "{\"html\": \"<p>c\", \"label\": 2, \"lang\": \"fr\", \"id\": \"x\", \"kind\": \"real\"}\n");
  LabelledSource source({{1, at("good")}}, manifest, {lines}, 2);
  std::vector<std::pair<int, std::map<std::string, std::string>>> seen;
  while (const std::optional<PageItem> item = source.next()) {
    ASSERT_FALSE(item->error.has_value()) << *item->error;
    seen.emplace_back(item->page.label, item->page.attributes);
  }
  ASSERT_EQ(seen.size(), 3U);
  EXPECT_EQ(seen[0].first, 1);
  EXPECT_EQ(seen[1].first, 2);
  EXPECT_EQ(seen[1].second.at("column3"), "de");
  EXPECT_EQ(seen[2].second, (std::map<std::string, std::string>{{"kind", "real"}, {"lang", "fr"}}));
}

TEST_F(LabelledSources, PagesWithoutAUsableLabelAreErrorsThatNameThem) {
  const std::string lines = write("l.jsonl", "{\"html\": \"<p>c\"}\n{\"html\": \"<p>d\", \"label\": 3}\n");
  LabelledSource source({}, "", {lines}, 2);
  const std::optional<PageItem> first = source.next();
  ASSERT_TRUE(first && first->error);
  EXPECT_NE(first->error->find("the page has no label"), std::string::npos);
  const std::optional<PageItem> second = source.next();
  ASSERT_TRUE(second && second->error);
  EXPECT_NE(second->error->find("label 3, but the map has 2 categories"), std::string::npos);
  EXPECT_FALSE(source.next().has_value());
}

TEST(CategoryOption, ReadsANumberAndAFolder) {
  ASSERT_TRUE(parseCategoryFolder("2=some=dir").has_value());
  EXPECT_EQ(parseCategoryFolder("2=some=dir")->category, 2);
  EXPECT_EQ(parseCategoryFolder("2=some=dir")->folder, "some=dir");
  for (const char* wrong : {"", "1", "1=", "0=a", "10=a", "=a", "x=a"}) {
    EXPECT_FALSE(parseCategoryFolder(wrong).has_value()) << wrong;
  }
}

}  // namespace
}  // namespace sifterra::tools
