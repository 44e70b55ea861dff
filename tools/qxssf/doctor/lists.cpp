#include <algorithm>
#include <filesystem>
#include <limits>
#include <map>
#include <set>
#include <string_view>

#include "tools/common/input.h"
#include "tools/common/times.h"
#include "tools/qxssf/doctor/families.h"
#include "tools/qxssf/doctor/revocation_list.h"
#include "tools/qxssf/doctor/store_view.h"

namespace qx::ssf::doctor {
namespace {

namespace fs = std::filesystem;
using tools::ExitCode;

constexpr std::uint64_t kTicksPerDay = std::uint64_t{24} * 60 * 60 * 10'000'000;
constexpr std::uint64_t kNever = std::numeric_limits<std::uint64_t>::max();

// Time enough for whoever has to carry a list to a server without network.
constexpr std::uint64_t kSoonDays = 7;

// As many bytes as the provider reads of a list.
constexpr std::uintmax_t kMaxList = std::uintmax_t{16} << 20U;

// id-ce-cRLDistributionPoints (RFC 5280, 4.2.1.13).
constexpr std::string_view kAddresses = "2.5.29.31";

/// The list of an authority that holds longest.
struct Latest {
  std::uint64_t end = 0;
  bool machine = false;
  std::string store;
};

/// An authority that somebody was certified by.
struct Authority {
  bool isValid = false;       ///< it is trusted to be one, and its time has not run out
  bool namesAddress = false;  ///< a certificate says where its list is to be had
};

bool namesAddress(const CERT_INFO& info) {
  return std::any_of(info.rgExtension, info.rgExtension + info.cExtension, [](const auto& one) {
    return one.pszObjId == kAddresses;
  });
}

class Lists {
 public:
  explicit Lists(const Library& library) : library_(&library), reader_(library) {}

  void collect(bool machine) {
    const fs::path root = machine ? machineFolder().value : userFolder().value;
    for (const char* store : {"Root", "CA"}) {
      readFolder(root / "stores" / store, {.machine = machine, .store = store});
    }
    // What was fetched is judged with the store that it could lie in.
    readFolder(root / "cache", {.machine = machine, .store = "CA"});
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(root / "stores", error)) {
      learnFrom({.machine = machine, .name = entry.path().filename()});
    }
  }

  void judge(Findings& findings) const {
    for (const auto& [issuer, latest] : latest_) {
      judgeOne(issuer, latest, findings);
    }
  }

 private:
  void readFolder(const fs::path& folder, const Latest& place) {
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(folder, error)) {
      if (entry.path().extension() == ".crl" && entry.is_regular_file(error) &&
          entry.file_size(error) <= kMaxList) {
        readFile(entry.path(), place);
      }
    }
  }

  // What cannot be read is told where the folders are looked at.
  void readFile(const fs::path& file, Latest place) {
    try {
      const tools::Input input(file, tools::InputKind::FoundFile);
      const std::optional<RevocationList> list = reader_.read(input.bytes());
      if (!list) {
        return;
      }
      place.end = list->end.value_or(kNever);
      Latest& latest = latest_[list->issuer];
      if (place.end > latest.end) {
        latest = place;
      }
    } catch (const tools::ToolError&) {
      return;
    }
  }

  void learnFrom(const StoreName& store) {
    const auto certificates = certificatesIn(*library_, store);
    for (const CertificatePtr& one : certificates.value_or(std::vector<CertificatePtr>())) {
      const CERT_INFO& info = *one->pCertInfo;
      if (namesAddress(info)) {
        authorities_[nameText(*library_, info.Issuer)].namesAddress = true;
      }
      if (store.name == "Root" || store.name == "CA") {
        authorities_[nameText(*library_, info.Subject)].isValid |=
            ticksOf(info.NotAfter) > tools::ticksNow();
      }
    }
  }

  void judgeOne(const std::string& issuer, const Latest& latest, Findings& findings) const {
    const auto known = authorities_.find(issuer);
    const Authority authority = known == authorities_.end() ? Authority() : known->second;
    if (latest.end == kNever) {
      findings.good(issuer, "its revocation list names no end");
      return;
    }
    const std::string end = tools::isoTime(latest.end);
    const std::uint64_t now = tools::ticksNow();
    if (latest.end > now + (kSoonDays * kTicksPerDay)) {
      findings.good(issuer, "its revocation list holds until " + end);
    } else if (!authority.isValid) {
      findings.good(issuer, "its revocation list is of no use: no such authority is valid here");
    } else if (latest.end > now) {
      findings.warn(issuer, "its revocation list ends soon, at " + end, remedy(latest, authority));
    } else {
      findings.fault(ExitCode::NotTrusted,
                     issuer,
                     std::string("its revocation list ended at ")
                         .append(end)
                         .append(": SsfVerify returns 5 with the result 22"),
                     remedy(latest, authority));
    }
  }

  static std::string remedy(const Latest& latest, const Authority& authority) {
    const StoreName store{.machine = latest.machine, .name = latest.store};
    if (authority.namesAddress) {
      return latest.machine ? "qxprovider crl update --machine" : "qxprovider crl update";
    }
    return "qxprovider crl add " + store.option() + " CRL";
  }

  const Library* library_;
  ListReader reader_;
  std::map<std::string, Latest> latest_;
  std::map<std::string, Authority> authorities_;
};

}  // namespace

void examineLists(const Library& library, Findings& findings) {
  findings.begin("revocation lists");
  if (!ListReader(library).isAble()) {
    return;
  }
  Lists lists(library);
  lists.collect(/*machine=*/false);
  lists.collect(/*machine=*/true);
  lists.judge(findings);
}

}  // namespace qx::ssf::doctor
