#include "provider/store/store_files.h"

#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "provider/store/folder_store.h"
#include "tests/provider/store/store_support.h"
#include "tests/support/command.h"

namespace qx::test::store_files_test {
namespace {

namespace fs = std::filesystem;

class StoreFilesTest : public StoreTest {
 protected:
  static StoreName user(const std::string& name) {
    return *StoreName::make(Location::CurrentUser, name);
  }

  static StoreName machine(const std::string& name) {
    return *StoreName::make(Location::LocalMachine, name);
  }

  std::vector<std::string> filesOf(const std::string& store) const {
    std::set<std::string> files;
    for (const auto& entry : fs::directory_iterator(storePath(store))) {
      files.insert(entry.path().filename());
    }
    return {files.begin(), files.end()};
  }

  static std::string hex(const Thumbprint& sha1) {
    constexpr const char* kDigits = "0123456789abcdef";
    std::string text;
    for (const std::uint8_t octet : sha1) {
      text += kDigits[octet >> 4U];
      text += kDigits[octet & 15U];
    }
    return text;
  }
};

TEST_F(StoreFilesTest, NamesTheFileAfterSubjectAndThumbprint) {
  const auto data = makeData("Ivan Petrov, Jr.");
  const auto name = addCertificateFile(user("My"), *data, IfPresent::Refuse);
  ASSERT_TRUE(name);
  EXPECT_EQ("Ivan_Petrov_Jr_-" + hex(data->sha1()) + ".cer", *name);
  EXPECT_EQ(std::vector<std::string>{*name}, filesOf("My"));
  EXPECT_EQ(std::string(data->der().begin(), data->der().end()),
            readFile(storePath("My") + "/" + *name));
}

TEST_F(StoreFilesTest, LetsNoSubjectLeaveTheFolder) {
  for (const char* subject : {"../../evil", "/etc/passwd", "..", "a/b", ".hidden"}) {
    const auto name = addCertificateFile(user("My"), *makeData(subject), IfPresent::Refuse);
    ASSERT_TRUE(name) << subject;
    EXPECT_EQ(std::string::npos, name->find('/')) << subject;
    EXPECT_NE('.', name->front()) << subject;
  }
  EXPECT_EQ(5U, filesOf("My").size());
}

TEST_F(StoreFilesTest, NamesTheFileByThumbprintWhereTheSubjectHasNoLetters) {
  const auto data = makeData("Иван");
  EXPECT_EQ(hex(data->sha1()) + ".cer", *addCertificateFile(user("My"), *data, IfPresent::Refuse));
}

TEST_F(StoreFilesTest, CutsLongSubjects) {
  const auto data = makeData(std::string(60, 'x'));
  const auto name = addCertificateFile(user("My"), *data, IfPresent::Refuse);
  EXPECT_EQ(std::string(40, 'x') + "-" + hex(data->sha1()) + ".cer", *name);
}

TEST_F(StoreFilesTest, WritesFilesThatOpensslReads) {
  const auto name = addCertificateFile(user("My"), *makeData("Readable"), IfPresent::Refuse);
  const auto result = run({"openssl",
                           "x509",
                           "-inform",
                           "DER",
                           "-noout",
                           "-subject",
                           "-in",
                           storePath("My") + "/" + *name});
  EXPECT_EQ(0, result.exitCode) << result.err;
  EXPECT_NE(std::string::npos, result.out.find("Readable"));
}

TEST_F(StoreFilesTest, WritesFilesThatAllMayRead) {
  const mode_t before = umask(0077);
  const auto name = addCertificateFile(machine("My"), *makeData("Mode"), IfPresent::Refuse);
  umask(before);
  ASSERT_TRUE(name);
  const auto mode = fs::status(machinePath("My") + "/" + *name).permissions();
  EXPECT_EQ(0644U, static_cast<unsigned>(mode));
}

TEST_F(StoreFilesTest, RefusesACertificateThatIsThere) {
  const auto data = makeData("Twice");
  ASSERT_TRUE(addCertificateFile(user("My"), *data, IfPresent::Refuse));
  EXPECT_EQ(CRYPT_E_EXISTS, addCertificateFile(user("My"), *data, IfPresent::Refuse).error());
  EXPECT_EQ(1U, filesOf("My").size());
}

TEST_F(StoreFilesTest, FindsACertificateUnderAnyName) {
  const X509Ptr certificate = makeCertificate("Any name");
  write("My", "other.pem", lab::toPem(certificate.get()));
  const auto data = dataOf(lab::toDer(certificate.get()));
  EXPECT_EQ(CRYPT_E_EXISTS, addCertificateFile(user("My"), *data, IfPresent::Refuse).error());
  EXPECT_EQ("other.pem", *addCertificateFile(user("My"), *data, IfPresent::Keep));
}

TEST_F(StoreFilesTest, AddsAnotherCopyWhenAsked) {
  const auto data = makeData("Copies");
  const auto first = addCertificateFile(user("My"), *data, IfPresent::AddAnother);
  const auto second = addCertificateFile(user("My"), *data, IfPresent::AddAnother);
  const auto third = addCertificateFile(user("My"), *data, IfPresent::AddAnother);
  EXPECT_EQ("Copies-" + hex(data->sha1()) + "-2.cer", *second);
  EXPECT_EQ("Copies-" + hex(data->sha1()) + "-3.cer", *third);
  EXPECT_EQ(3U, (*snapshot(user("My")))->certificates().size());
}

TEST_F(StoreFilesTest, DoesNotTakeTheMachinesTrustForTheUsersOwn) {
  const auto data = makeData("Trust");
  write("Root", "x.txt", std::string());
  fs::create_directories(machinePath("Root"));
  writeFile(machinePath("Root") + "/a.cer", std::string(data->der().begin(), data->der().end()));
  EXPECT_TRUE(addCertificateFile(user("Root"), *data, IfPresent::Refuse));
}

TEST_F(StoreFilesTest, RemovesWhatHoldsTheCertificate) {
  const auto data = makeData("Removed");
  const auto name = addCertificateFile(user("My"), *data, IfPresent::Refuse);
  EXPECT_TRUE(removeCertificateFile(user("My"), *name, data->sha1()));
  EXPECT_TRUE(filesOf("My").empty());
  EXPECT_TRUE(removeCertificateFile(user("My"), *name, data->sha1()));
}

TEST_F(StoreFilesTest, RemovesNothingThatHoldsAnotherCertificate) {
  const auto data = makeData("Mine");
  write("My", "a.cer", makeDer("Somebody else's"));
  EXPECT_TRUE(removeCertificateFile(user("My"), "a.cer", data->sha1()));
  EXPECT_EQ(1U, filesOf("My").size());
}

TEST_F(StoreFilesTest, RemovesFromNoStoreWithoutComplaint) {
  EXPECT_TRUE(removeCertificateFile(user("My"), "a.cer", Thumbprint{}));
  EXPECT_FALSE(fs::exists(storePath("My")));
}

TEST_F(StoreFilesTest, PutsARevocationListInThePlaceOfItsForerunner) {
  lab::CrlOptions options;
  options.thisUpdate = -3 * lab::kDay;
  const auto older = crlDataOf(lab::toDer(authority().crl(options).get()));
  options.thisUpdate = -2 * lab::kDay;
  const auto newer = crlDataOf(lab::toDer(authority().crl(options).get()));
  const auto first = addCrlFile(user("CA"), *older);
  ASSERT_TRUE(first);
  EXPECT_EQ(0U, first->find("Test_Authority-"));
  EXPECT_TRUE(first->ends_with(".crl"));
  EXPECT_EQ(*first, *addCrlFile(user("CA"), *newer));
  EXPECT_EQ(1U, filesOf("CA").size());
  EXPECT_EQ(newer->thisUpdate(), (*snapshot(user("CA")))->crls().front().data->thisUpdate());
  EXPECT_EQ(CRYPT_E_EXISTS, addCrlFile(user("CA"), *older).error());
  EXPECT_EQ(newer->thisUpdate(), (*snapshot(user("CA")))->crls().front().data->thisUpdate());
}

TEST_F(StoreFilesTest, ReplacesADamagedRevocationList) {
  const auto crl = crlDataOf(lab::toDer(authority().crl().get()));
  const auto name = addCrlFile(user("CA"), *crl);
  write("CA", *name, std::string("damaged"));
  EXPECT_TRUE(addCrlFile(user("CA"), *crl));
  EXPECT_EQ(1U, (*snapshot(user("CA")))->crls().size());
}

TEST_F(StoreFilesTest, RemovesRevocationListsOnly) {
  const auto crl = crlDataOf(lab::toDer(authority().crl().get()));
  const auto name = addCrlFile(user("CA"), *crl);
  write("CA", "a.cer", makeDer("a"));
  EXPECT_EQ(ERROR_INVALID_NAME, removeCrlFile(user("CA"), "a.cer").error());
  EXPECT_EQ(ERROR_INVALID_NAME, removeCrlFile(user("CA"), "../CA/x.crl").error());
  EXPECT_EQ(ERROR_FILE_NOT_FOUND, removeCrlFile(user("CA"), "x.crl").error());
  EXPECT_TRUE(removeCrlFile(user("CA"), *name));
  EXPECT_EQ(std::vector<std::string>{"a.cer"}, filesOf("CA"));
}

TEST_F(StoreFilesTest, LeavesTheMachinesTrustToRoot) {
  const auto data = makeData("Trust");
  const auto crl = crlDataOf(lab::toDer(authority().crl().get()));
  EXPECT_TRUE(holdsWithoutRights([&] {
    for (const char* store : {"Root", "CA", "ROOT"}) {
      if (mayChange(machine(store)).error() != E_ACCESSDENIED ||
          addCertificateFile(machine(store), *data, IfPresent::Keep).error() != E_ACCESSDENIED ||
          removeCertificateFile(machine(store), "x.cer", data->sha1()).error() != E_ACCESSDENIED ||
          addCrlFile(machine(store), *crl).error() != E_ACCESSDENIED ||
          removeCrlFile(machine(store), "x.crl").error() != E_ACCESSDENIED ||
          makeStore(machine(store)).error() != E_ACCESSDENIED) {
        return false;
      }
    }
    return mayChange(machine("My")) && mayChange(user("Root"));
  }));
  EXPECT_FALSE(fs::exists(machinePath("Root")));
}

TEST_F(StoreFilesTest, SaysThatTheSystemRefuses) {
  fs::create_directories(folder().path() + "/stores");
  fs::create_symlink("/nonexistent", storePath("My"));
  const auto name = addCertificateFile(user("My"), *makeData("x"), IfPresent::Keep);
  EXPECT_FALSE(name);
  EXPECT_FALSE(makeStore(user("My")));
}

TEST_F(StoreFilesTest, WritesOneFileForManyWhoAddTheSame) {
  const auto data = makeData("Race");
  std::vector<std::thread> threads;
  threads.reserve(8);
  std::atomic<int> added = 0;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([&] {
      if (addCertificateFile(user("My"), *data, IfPresent::Refuse)) {
        ++added;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(1, added);
  EXPECT_EQ(1U, filesOf("My").size());
}

TEST_F(StoreFilesTest, WaitsForWhoeverHoldsTheFolder) {
  fs::create_directories(storePath("My"));
  const auto folder = openFolder(storePath("My"));
  std::atomic<bool> done = false;
  std::thread adder;
  {
    const auto lock = FolderLock::acquire(folder->get());
    ASSERT_TRUE(lock);
    adder = std::thread([&] {
      EXPECT_TRUE(addCertificateFile(user("My"), *makeData("Waiting"), IfPresent::Refuse));
      done = true;
    });
    EXPECT_FALSE(done);
    EXPECT_TRUE(filesOf("My").empty());
  }
  adder.join();
  EXPECT_EQ(1U, filesOf("My").size());
}

class KilledWriterTest : public StoreFilesTest {
 protected:
  KilledWriterTest() {
    for (int i = 0; i < 10; ++i) {
      certificates_.push_back(makeData("Kill " + std::to_string(i)));
    }
  }

  // Adds and removes until it is killed; after each turn a byte goes through the pipe.
  [[noreturn]] void changeForEver(int pipe) const {
    for (std::size_t turn = 0;; turn = (turn + 1) % certificates_.size()) {
      const CertificateData& data = *certificates_[turn];
      if (const auto name = addCertificateFile(user("My"), data, IfPresent::AddAnother)) {
        static_cast<void>(static_cast<bool>(removeCertificateFile(user("My"), *name, data.sha1())));
      }
      if (::write(pipe, "x", 1) != 1) {
        _exit(1);
      }
    }
  }

  // Starts a writer and kills it after some turns.
  void killWriterAfter(int turns) const {
    int ends[2] = {-1, -1};
    ASSERT_EQ(0, pipe(ends));
    const Fd readEnd(ends[0]);
    const Fd writeEnd(ends[1]);
    const pid_t child = fork();
    if (child == 0) {
      changeForEver(writeEnd.get());
    }
    char byte = 0;
    for (int i = 0; i < turns; ++i) {
      EXPECT_EQ(1, ::read(readEnd.get(), &byte, 1));
    }
    EXPECT_EQ(0, kill(child, SIGKILL));
    EXPECT_EQ(child, waitpid(child, nullptr, 0));
  }

  bool isWhole(const std::string& file) const {
    const std::string content = readFile(storePath("My") + "/" + file);
    return static_cast<bool>(CertificateData::parse(Bytes(content.begin(), content.end())));
  }

 private:
  std::vector<std::shared_ptr<const CertificateData>> certificates_;
};

// What is left are whole files and at most a temporary one, which nobody reads.
TEST_F(KilledWriterTest, LeavesWholeFiles) {
  for (int turns = 1; turns <= 5; ++turns) {
    killWriterAfter(turns);
    for (const std::string& file : filesOf("My")) {
      EXPECT_TRUE(file.starts_with(".") || isWhole(file)) << file;
    }
    EXPECT_TRUE(snapshot(user("My")));
  }
}

}  // namespace
}  // namespace qx::test::store_files_test
