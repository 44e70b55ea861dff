#ifndef QX_TOOLS_QXSSF_DOCTOR_SETTING_H_
#define QX_TOOLS_QXSSF_DOCTOR_SETTING_H_

#include <string>

namespace qx::ssf::doctor {

/// Setting is a value and where it came from.
struct Setting {
  std::string value;
  std::string source;
};

/// variable reads a variable of the environment as the provider does; empty when unset.
std::string variable(const char* name);

/// Account is what the password database says of the system's user; empty where it knows none.
struct Account {
  std::string name;
  std::string home;
};

Account account();

/// userFolder and machineFolder are the folders that hold "stores" and "keys", found as the provider finds
/// them. The user's is empty when there is no home.
Setting userFolder();
Setting machineFolder();

/// configurationFile is the provider.conf that is read; empty when there is none.
Setting configurationFile();

/// quoted is a text as one word of a shell.
std::string quoted(const std::string& text);

}  // namespace qx::ssf::doctor

#endif
