#include <algorithm>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/cli/lab_fixture.h"

namespace qx::test::parallel_test {
namespace {

namespace fs = std::filesystem;
using ::testing::Each;

// Tools that run at once over one user's folder.
class ParallelTools : public LabTest {
 protected:
  static constexpr int kTools = 6;

  /// Runs a tool for each number from 0 on, all at once, and gives their results in that order.
  static std::vector<CommandResult> atOnce(const std::function<CommandResult(int)>& work) {
    std::vector<CommandResult> results(kTools);
    std::vector<std::thread> threads;
    for (int i = 0; i < kTools; ++i) {
      threads.emplace_back([&, i] { results[static_cast<std::size_t>(i)] = work(i); });
    }
    std::ranges::for_each(threads, &std::thread::join);
    return results;
  }

  static std::vector<int> codesOf(const std::vector<CommandResult>& results) {
    std::vector<int> codes;
    std::ranges::transform(results, std::back_inserter(codes), &CommandResult::exitCode);
    return codes;
  }

  std::size_t filesIn(const std::string& folder) const {
    const std::string path = userFolder() + "/" + folder;
    return static_cast<std::size_t>(
        std::distance(fs::directory_iterator(path), fs::directory_iterator()));
  }
};

TEST_F(ParallelTools, AddOneCertificateOnce) {
  const auto results =
      atOnce([&](int) { return provider({"cert", "add", "--store", "New", lab("pem/anna.crt")}); });
  EXPECT_THAT(codesOf(results), Each(0));
  EXPECT_EQ(filesIn("stores/New"), 1U);
}

TEST_F(ParallelTools, LoseNoCertificate) {
  const char* names[kTools] = {"ivan", "anna", "boris", "galina", "rita", "eva"};
  const auto results = atOnce([&](int i) {
    return provider(
        {"cert", "add", "--store", "New", lab("pem/" + std::string(names[i]) + ".crt")});
  });
  EXPECT_THAT(codesOf(results), Each(0));
  EXPECT_EQ(providerJson({"store", "show", "New"})["certificates"].size(), std::size(names));
}

TEST_F(ParallelTools, RemoveOneCertificateOnce) {
  const std::string thumbprint = person("anna")["thumbprint"];
  const auto codes = codesOf(atOnce([&](int) { return provider({"cert", "remove", thumbprint}); }));
  EXPECT_GE(std::ranges::count(codes, 0), 1);
  EXPECT_EQ(std::ranges::count(codes, 0) + std::ranges::count(codes, 2), kTools);
  EXPECT_EQ(providerJson({"cert", "list"})["certificates"].size(), 13U);
}

TEST_F(ParallelTools, ImportOneKeyOnce) {
  const std::size_t before = filesIn("keys");
  const auto codes = codesOf(atOnce(
      [&](int) { return provider({"key", "import", lab("pem/tsa-gost.key"), "--no-pin"}); }));
  EXPECT_EQ(std::ranges::count(codes, 0), 1);
  EXPECT_EQ(std::ranges::count(codes, 2), kTools - 1);
  EXPECT_EQ(filesIn("keys"), before + 1);
}

TEST_F(ParallelTools, LoseNoKey) {
  const std::size_t before = filesIn("keys");
  EXPECT_THAT(codesOf(atOnce([&](int) { return provider({"key", "generate", "--no-pin"}); })),
              Each(0));
  EXPECT_EQ(filesIn("keys"), before + kTools);
}

TEST_F(ParallelTools, ChangeAPinOnceWhenAllStartFromTheOldOne) {
  const std::string id =
      providerJson({"cert", "export", person("ivan")["thumbprint"], "-o", file("c")})["key"];
  const auto pinOf = [](int i) { return "pin-" + std::to_string(i); };
  const auto codes = codesOf(atOnce([&](int i) {
    return provider({"key", "passwd", id, "--pin-env", "OLD", "--new-pin-env", "NEW"},
                    {.environment = {{"OLD", "ivan-4711"}, {"NEW", pinOf(i)}}});
  }));
  EXPECT_EQ(std::ranges::count(codes, 0), 1);
  EXPECT_EQ(std::ranges::count(codes, 5), kTools - 1);
  const auto winner = static_cast<int>(std::ranges::find(codes, 0) - codes.begin());
  EXPECT_EQ(openssl({"pkey",
                     "-in",
                     userFolder() + "/keys/" + id,
                     "-noout",
                     "-passin",
                     "pass:" + pinOf(winner)})
                .exitCode,
            0);
}

TEST_F(ParallelTools, SignIntoOneFileThatIsWhole) {
  const std::string document = write("document", std::string(100'000, 'x'));
  EXPECT_THAT(codesOf(atOnce([&](int i) {
                return ssf({"sign",
                            document,
                            "-o",
                            file("out"),
                            "-s",
                            i % 2 == 0 ? "CN=Anna Orlova" : "CN=Rita Berg"});
              })),
              Each(0));
  EXPECT_EQ(ssfJson({"verify", file("out")})["verified"], true);
  EXPECT_EQ(std::distance(fs::directory_iterator(fs::path(document).parent_path()),
                          fs::directory_iterator()),
            3)
      << "the user's folder, the document and the message";
}

TEST_F(ParallelTools, OpenAKeyUnderItsRightPinAlone) {
  const std::string document = write("document", "what is signed\n");
  const char* pins[3] = {"ivan-4711", "", "ivan-4712"};
  const auto results = atOnce([&](int i) {
    return ssf({"sign",
                document,
                "-o",
                file("out" + std::to_string(i)),
                "-s",
                "CN=Ivan Petrov",
                "--pin-fd",
                "8"},
               {.descriptors = {{8, std::string(pins[i % 3]) + "\n"}}});
  });
  for (int i = 0; i < kTools; ++i) {
    EXPECT_EQ(results[static_cast<std::size_t>(i)].exitCode, i % 3 == 0 ? 0 : 5);
    EXPECT_EQ(exists("out" + std::to_string(i)), i % 3 == 0);
  }
}

TEST_F(ParallelTools, ReadAStoreThatChangesMeanwhile) {
  const auto results = atOnce([&](int i) {
    return i % 2 == 0
               ? provider({"cert", "add", lab(i == 0 ? "pem/tsa-gost.crt" : "pem/tsa-rsa.crt")})
               : provider({"store", "show", "My", "--json"});
  });
  EXPECT_THAT(codesOf(results), Each(0));
  for (int i = 1; i < kTools; i += 2) {
    const auto seen =
        nlohmann::json::parse(results[static_cast<std::size_t>(i)].out)["certificates"].size();
    EXPECT_GE(seen, 14U);
    EXPECT_LE(seen, 16U);
  }
}

}  // namespace
}  // namespace qx::test::parallel_test
