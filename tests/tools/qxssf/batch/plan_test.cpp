#include "tools/qxssf/batch/plan.h"

#include <sys/stat.h>

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/temp_dir.h"

namespace qx::ssf::plan_test {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class Plan : public ::testing::Test {
 protected:
  /// make makes a file and the folders above it, path is where it lies.
  void make(const std::string& name) const { folder_.write(name, "x"); }

  std::string path(const std::string& name) const { return folder_.file(name); }

  BatchPlan plan(const std::vector<std::string>& names, Naming naming = Naming::AddMessage) {
    batch_.files.clear();
    for (const std::string& name : names) {
      batch_.files.push_back(path(name));
    }
    return planBatch(batch_, {.naming = naming, .done = "done"});
  }

  /// The inputs and outputs of a plan, below the test's folder.
  std::vector<std::pair<std::string, std::string>> pairsOf(const BatchPlan& plan) const {
    std::vector<std::pair<std::string, std::string>> pairs;
    for (const BatchTask& task : plan.tasks) {
      pairs.emplace_back(below(task.input), below(task.output));
    }
    return pairs;
  }

  std::string below(const std::string& file) const {
    return file.empty() ? "" : fs::path(file).lexically_relative(folder_.path()).string();
  }

  test::TempDir folder_;
  BatchArguments batch_;
};

TEST_F(Plan, PutsEachOutputBesideItsInput) {
  make("b");
  make("a");
  EXPECT_THAT(pairsOf(plan({"b", "a"})),
              ElementsAre(std::pair("b", "b.p7m"), std::pair("a", "a.p7m")));
  EXPECT_THAT(pairsOf(plan({"a"}, Naming::AddSignature)), ElementsAre(std::pair("a", "a.p7s")));
}

TEST_F(Plan, TakesTheSuffixOff) {
  make("a.txt.p7m");
  EXPECT_THAT(pairsOf(plan({"a.txt.p7m"}, Naming::TakeOff)),
              ElementsAre(std::pair("a.txt.p7m", "a.txt")));
}

TEST_F(Plan, OfAVerificationWritesNothingWithoutAFolder) {
  make("a.p7m");
  EXPECT_THAT(pairsOf(plan({"a.p7m"}, Naming::TakeOffIntoFolder)),
              ElementsAre(std::pair("a.p7m", "")));
  batch_.folder = path("out");
  EXPECT_THAT(pairsOf(plan({"a.p7m"}, Naming::TakeOffIntoFolder)),
              ElementsAre(std::pair("a.p7m", "out/a")));
}

TEST_F(Plan, FindsTheContentBesideASignature) {
  make("a.txt");
  make("a.txt.p7s");
  make("b.txt.p7s");
  make("c.txt");
  make("c.txt.p7m");
  const BatchPlan made = plan({"a.txt.p7s", "b.txt.p7s", "c.txt.p7m"}, Naming::TakeOffIntoFolder);
  ASSERT_THAT(made.tasks, SizeIs(3));
  EXPECT_EQ(made.tasks[0].content, path("a.txt"));
  EXPECT_EQ(made.tasks[1].content, "");
  EXPECT_EQ(made.tasks[2].content, "");
}

TEST_F(Plan, TakesTheFilesOfAFolderInOrder) {
  make("in/c");
  make("in/a");
  make("in/b");
  EXPECT_THAT(pairsOf(plan({"in"})),
              ElementsAre(std::pair("in/a", "in/a.p7m"),
                          std::pair("in/b", "in/b.p7m"),
                          std::pair("in/c", "in/c.p7m")));
}

TEST_F(Plan, GoesIntoFoldersWhenItIsTold) {
  make("in/a");
  make("in/deep/er/b");
  make("in/deep/c");
  const BatchPlan flat = plan({"in"});
  EXPECT_THAT(flat.tasks, SizeIs(1));
  ASSERT_THAT(flat.skipped, SizeIs(1));
  EXPECT_EQ(flat.skipped[0].input, path("in/deep"));
  EXPECT_THAT(flat.skipped[0].why, HasSubstr("--recursive"));
  batch_.recursive = true;
  batch_.folder = path("out");
  EXPECT_THAT(pairsOf(plan({"in"})),
              ElementsAre(std::pair("in/a", "out/a.p7m"),
                          std::pair("in/deep/c", "out/deep/c.p7m"),
                          std::pair("in/deep/er/b", "out/deep/er/b.p7m")));
}

TEST_F(Plan, LeavesOutWhatWasMadeBefore) {
  make("in/a");
  make("in/a.p7s");
  make("in/b.p7m");
  const BatchPlan made = plan({"in"});
  EXPECT_THAT(pairsOf(made), ElementsAre(std::pair("in/a", "in/a.p7m")));
  EXPECT_EQ(made.leftOut, 2U);
  EXPECT_THAT(plan({"in/b.p7m"}).tasks, SizeIs(1)) << "which was named";
  batch_.folder = path("out");
  EXPECT_THAT(plan({"in"}).tasks, SizeIs(3)) << "for messages elsewhere";
}

TEST_F(Plan, LooksForMessagesByTheirNames) {
  make("in/a");
  make("in/a.p7s");
  make("in/b.p7m");
  EXPECT_THAT(pairsOf(plan({"in"}, Naming::TakeOff)), ElementsAre(std::pair("in/b.p7m", "in/b")));
  const BatchPlan both = plan({"in"}, Naming::TakeOffIntoFolder);
  EXPECT_THAT(both.tasks, SizeIs(2));
  EXPECT_EQ(both.leftOut, 1U);
}

TEST_F(Plan, DoesNotGoIntoTheFolderOfItsOutputs) {
  make("in/a");
  make("in/out/b");
  batch_.recursive = true;
  batch_.folder = path("in/out");
  EXPECT_THAT(pairsOf(plan({"in"})), ElementsAre(std::pair("in/a", "in/out/a.p7m")));
}

TEST_F(Plan, SkipsLinksAndSpecialFiles) {
  make("in/a");
  make("elsewhere/b");
  fs::create_symlink(path("in/a"), path("in/link"));
  fs::create_directory_symlink(path("elsewhere"), path("in/linked"));
  ASSERT_EQ(mkfifo(path("in/pipe").c_str(), 0600), 0);
  batch_.recursive = true;
  const BatchPlan made = plan({"in", "in/pipe"});
  EXPECT_THAT(made.tasks, SizeIs(1));
  ASSERT_THAT(made.skipped, SizeIs(4));
  EXPECT_EQ(made.skipped[0].why, "is a link");
  EXPECT_EQ(made.skipped[1].why, "is a link");
  EXPECT_EQ(made.skipped[2].why, "is no regular file");
  EXPECT_EQ(made.skipped[3].why, "is no regular file");
}

// Between the look into the folder and the work somebody may put a link in its place.
TEST_F(Plan, MarksWhatNobodyNamed) {
  make("in/a");
  make("b");
  fs::create_symlink(path("b"), path("link"));
  const BatchPlan made = plan({"in", "b", "link"});
  ASSERT_THAT(made.tasks, SizeIs(3));
  EXPECT_EQ(made.tasks[0].kind, tools::InputKind::FoundFile);
  EXPECT_EQ(made.tasks[1].kind, tools::InputKind::File);
  EXPECT_EQ(made.tasks[2].kind, tools::InputKind::File) << "a link that was named is followed";
}

TEST_F(Plan, DoesNotReplaceWhatIsThere) {
  make("a");
  make("a.p7m");
  const BatchPlan made = plan({"a"});
  EXPECT_THAT(made.tasks, IsEmpty());
  ASSERT_THAT(made.refused, SizeIs(1));
  EXPECT_EQ(made.refused[0].input, path("a"));
  EXPECT_THAT(made.refused[0].why, HasSubstr("a.p7m is there already; --force replaces it"));
  batch_.force = true;
  EXPECT_THAT(plan({"a"}).tasks, SizeIs(1));
}

TEST_F(Plan, NeverReplacesAnInput) {
  make("a");
  make("a.p7m");
  batch_.force = true;
  const BatchPlan made = plan({"a", "a.p7m"});
  EXPECT_THAT(pairsOf(made), ElementsAre(std::pair("a.p7m", "a.p7m.p7m")));
  ASSERT_THAT(made.refused, SizeIs(1));
  EXPECT_THAT(made.refused[0].why, HasSubstr("is one of the files to read"));
  EXPECT_THAT(plan({"a"}, Naming::TakeOff).refused, SizeIs(1)) << "a name without suffix";
}

TEST_F(Plan, NeverReplacesAnInputThroughALink) {
  make("a");
  make("b");
  fs::create_symlink(path("b"), path("a.p7m"));
  batch_.force = true;
  const BatchPlan made = plan({"a", "b"});
  EXPECT_THAT(pairsOf(made), ElementsAre(std::pair("b", "b.p7m")));
}

TEST_F(Plan, ReplacesRegularFilesAlone) {
  make("a");
  batch_.force = true;
  fs::create_symlink("/dev/null", path("a.p7m"));
  EXPECT_THAT(plan({"a"}).refused.at(0).why, HasSubstr("is no regular file"));
  fs::remove(path("a.p7m"));
  fs::create_directory(path("a.p7m"));
  EXPECT_THAT(plan({"a"}).refused.at(0).why, HasSubstr("is no regular file"));
}

TEST_F(Plan, GivesNoOutputTwice) {
  make("x/a");
  make("y/a");
  batch_.folder = path("out");
  batch_.force = true;
  const BatchPlan made = plan({"x", "y"});
  EXPECT_THAT(pairsOf(made), ElementsAre(std::pair("x/a", "out/a.p7m")));
  ASSERT_THAT(made.refused, SizeIs(1));
  EXPECT_THAT(made.refused[0].why, HasSubstr("the output of another file"));
}

// What is missing fails when its turn comes, as when it is named alone.
TEST_F(Plan, KeepsAFileThatIsMissing) {
  EXPECT_THAT(pairsOf(plan({"gone"})), ElementsAre(std::pair("gone", "gone.p7m")));
}

TEST_F(Plan, OfAnEmptyFolderIsEmpty) {
  fs::create_directory(path("in"));
  const BatchPlan made = plan({"in"});
  EXPECT_THAT(made.tasks, IsEmpty());
  EXPECT_THAT(made.refused, IsEmpty());
}

}  // namespace
}  // namespace qx::ssf::plan_test
