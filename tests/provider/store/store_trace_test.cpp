#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "provider/store/folder_store.h"
#include "tests/provider/store/store_support.h"
#include "tests/support/trace_to_file.h"

namespace qx::test::store_trace_test {
namespace {

namespace fs = std::filesystem;

// NOLINTNEXTLINE(cppcoreguidelines-owning-memory): the framework owns it
const ::testing::Environment* const kEnvironment =
    ::testing::AddGlobalTestEnvironment(new TraceToFile);

class StoreTraceTest : public StoreTest {
 protected:
  // The lines since the last call that tell of something left out.
  std::vector<std::string> newLines() {
    const std::string content =
        fs::exists(TraceToFile::path()) ? readFile(TraceToFile::path()) : "";
    std::istringstream rest(content.substr(std::min(seen_, content.size())));
    seen_ = content.size();
    std::vector<std::string> lines;
    for (std::string line; std::getline(rest, line);) {
      if (line.find("is left out") != std::string::npos) {
        lines.push_back(line);
      }
    }
    return lines;
  }

  static bool anyNames(const std::vector<std::string>& lines, const std::string& text) {
    return std::ranges::any_of(
        lines, [&](const std::string& line) { return line.find(text) != std::string::npos; });
  }

  static bool readAgain() {
    forgetSnapshots();
    return static_cast<bool>(snapshot(Location::CurrentUser, "My"));
  }

 private:
  std::size_t seen_ = 0;
};

TEST_F(StoreTraceTest, NamesEachFileThatIsLeftOut) {
  write("My", "good.cer", makeDer("Good"));
  write("My", "noise.cer", std::string("noise"));
  write("My", "empty.crl", std::string());
  fs::create_symlink("good.cer", storePath("My") + "/link.cer");
  ASSERT_EQ(0, mkfifo((storePath("My") + "/pipe.pem").c_str(), 0600));
  newLines();
  ASSERT_TRUE(readAgain());
  const auto lines = newLines();
  for (const char* file : {"/My/noise.cer", "/My/empty.crl", "/My/link.cer", "/My/pipe.pem"}) {
    EXPECT_TRUE(anyNames(lines, file)) << file;
  }
  EXPECT_FALSE(anyNames(lines, "good.cer"));
  EXPECT_EQ(4U, lines.size());
}

TEST_F(StoreTraceTest, SaysNothingOfOtherFiles) {
  write("My", "good.cer", makeDer("Good"));
  write("My", "readme.txt", std::string("text"));
  write("My", ".tmp-0", std::string("half"));
  newLines();
  ASSERT_TRUE(readAgain());
  EXPECT_TRUE(newLines().empty());
}

TEST_F(StoreTraceTest, LetsNoFileNameForgeALine) {
  write("My", "a\n2026 forged.cer", std::string("noise"));
  newLines();
  ASSERT_TRUE(readAgain());
  const auto lines = newLines();
  ASSERT_EQ(1U, lines.size());
  EXPECT_TRUE(anyNames(lines, "a\\n2026 forged.cer"));
}

TEST_F(StoreTraceTest, NamesAnIncludedStoreThatIsLeftOut) {
  write("Root", "a.cer", makeDer("a"));
  fs::create_directories(folder().path() + "/machine/stores");
  writeFile(machinePath("Root"), "a file in the place of a folder");
  newLines();
  EXPECT_TRUE(snapshot(Location::CurrentUser, "Root"));
  EXPECT_TRUE(anyNames(newLines(), "Root is left out"));
}

TEST_F(StoreTraceTest, SaysNothingOfAnIncludedStoreThatIsAbsent) {
  write("Root", "a.cer", makeDer("a"));
  newLines();
  EXPECT_TRUE(snapshot(Location::CurrentUser, "Root"));
  EXPECT_TRUE(newLines().empty());
}

}  // namespace
}  // namespace qx::test::store_trace_test
