#include <sys/stat.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "provider/key/key_file.h"
#include "tools/common/error.h"
#include "tools/common/input.h"
#include "tools/common/output.h"
#include "tools/common/pin.h"
#include "tools/qxprovider/commands.h"
#include "tools/qxprovider/failure.h"
#include "tools/qxprovider/file_password.h"
#include "tools/qxprovider/landscape_archive.h"
#include "tools/qxprovider/landscape_files.h"
#include "tools/qxprovider/landscape_placement.h"
#include "tools/qxprovider/landscape_seal.h"
#include "tools/qxprovider/location.h"

namespace qx::admin {
namespace {

using tools::ExitCode;
using tools::PinSource;
using tools::ToolError;

struct LandscapeArguments {
  Location location = Location::CurrentUser;
  std::string file;
  std::string configuration;
  PinSource password;
  bool replace = false;
};

void exportLandscape(tools::Tool& tool, const LandscapeArguments& arguments) {
  tool.claimOutput(arguments.file, tools::Tool::Content::Binary);
  const std::vector<LandscapeFile> files =
      collectFiles(arguments.location, arguments.configuration, tool.report);
  std::vector<ArchiveFile> entries;
  entries.reserve(files.size());
  for (const LandscapeFile& file : files) {
    entries.push_back({.path = file.path, .content = file.content.bytes()});
  }
  const SecretBytes archive = writeArchive(entries);
  const tools::Secret password = newFilePassword(arguments.password, "the keys", tool.report);
  tools::writePrivateOutput(arguments.file, seal(archive.bytes(), password));
  tool.report.facts()["output"] = arguments.file;
  tool.report.facts()["files"] = files.size();
  tool.report.line(arguments.file + ": " + std::to_string(files.size()) + " files");
}

// Reads everything and looks at it before anything is written.
std::vector<std::pair<LandscapePlace, ArchiveFile>> checkedFiles(const SecretBytes& archive,
                                                                 Location location) {
  std::vector<std::pair<LandscapePlace, ArchiveFile>> files;
  for (const ArchiveFile& file : readArchive(archive.bytes())) {
    LandscapePlace place = placeOf(location, file.path);
    if (!place.store && !place.isConfiguration()) {
      require(KeyFile::parse(place.name, SecretBytes(file.content)), file.path);
    }
    files.emplace_back(std::move(place), file);
  }
  return files;
}

void putConfiguration(tools::Report& report,
                      const LandscapeArguments& arguments,
                      const ArchiveFile& file) {
  struct stat status{};
  if (arguments.configuration.empty()) {
    report.line("left out: provider.conf; --configuration FILE writes it");
    return;
  }
  if (lstat(arguments.configuration.c_str(), &status) == 0 && !arguments.replace) {
    throw ToolError(ExitCode::Input,
                    arguments.configuration + ": is there already; --replace takes its place");
  }
  tools::writeOutput(arguments.configuration, file.content);
  report.line("written: " + arguments.configuration);
}

void importLandscape(tools::Tool& tool, const LandscapeArguments& arguments) {
  using IfOther = Placement::IfOther;
  tools::Report& report = tool.report;
  const tools::Input input(arguments.file);
  const tools::Secret password =
      tools::readPin(tools::orPrompt(arguments.password), "Password of " + arguments.file, report);
  const SecretBytes archive = unseal(input.bytes(), password, kMaxArchive);
  const auto files = checkedFiles(archive, arguments.location);
  Placement placement(arguments.location);
  std::size_t written = 0;
  const ArchiveFile* configuration = nullptr;
  for (const auto& [place, file] : files) {
    if (place.isConfiguration()) {
      configuration = &file;
    } else if (placement.put(
                   place, file.content, arguments.replace ? IfOther::Replace : IfOther::Refuse)) {
      ++written;
      report.line("written: " + file.path);
    }
  }
  if (configuration != nullptr) {
    putConfiguration(report, arguments, *configuration);
  }
  placement.keep();
  report.facts()["files"] = files.size();
  report.facts()["written"] = written;
}

CLI::App& addVerb(CLI::App& noun,
                  const char* name,
                  const char* help,
                  const std::shared_ptr<LandscapeArguments>& arguments) {
  CLI::App& verb = *noun.add_subcommand(name, help);
  addLocation(verb, arguments->location);
  verb.add_option("FILE", arguments->file, "The encrypted file")->required();
  tools::addPinOptions(verb, "password", "the password of the file", [arguments]() -> PinSource& {
    return arguments->password;
  });
  return verb;
}

}  // namespace

void addLandscape(tools::Tool& tool) {
  CLI::App& noun = *tool.app.add_subcommand("landscape", "A whole configuration in one file")
                        ->require_subcommand(1);
  auto exported = std::make_shared<LandscapeArguments>();
  CLI::App& exporting = addVerb(noun, "export", "Write stores and keys, encrypted", exported);
  exporting.add_option("--configuration", exported->configuration, "Take this provider.conf along");
  exporting.callback([&tool, exported] { exportLandscape(tool, *exported); });
  auto imported = std::make_shared<LandscapeArguments>();
  CLI::App& importing =
      addVerb(noun, "import", "Take over what export wrote, all or nothing", imported);
  importing.add_option(
      "--configuration", imported->configuration, "Write provider.conf to this file");
  importing.add_flag("--replace", imported->replace, "Replace files that are there");
  importing.callback([&tool, imported] { importLandscape(tool, *imported); });
}

}  // namespace qx::admin
