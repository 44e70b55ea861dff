#ifndef QX_PROVIDER_SUPPORT_CONFIG_H_
#define QX_PROVIDER_SUPPORT_CONFIG_H_

#include <string>
#include <vector>

namespace qx {

/// How a user may be asked for a PIN.
enum class Prompt { None, Terminal, Program };

/// Where trace lines go.
enum class TraceOutput { None, Stderr, Syslog, File };

/// How a trace line is written: words between spaces, or one JSON object (RFC 8259).
enum class TraceFormat { Text, Json };

/// Configuration is what provider.conf and the environment say. Each member stands for the key of the
/// same name in the section of the same name, in lower case with underscores (tsp.default_url); the
/// variable QXPROVIDER_<SECTION>_<KEY> overrides it. Times are in the unit that the name says.
struct Configuration {
  struct {
    std::string defaultUrl;
    unsigned timeoutMs = 10'000;
    // Who we are to the server of defaultUrl, and to no other.
    std::string user;
    std::string passwordFile;     ///< absolute path; its first line
    std::string certificateFile;  ///< absolute path of a PEM file
    std::string keyFile;          ///< the same
  } tsp;

  struct {
    std::string proxy;                                          ///< http://host:port
    std::string caFile = "/etc/ssl/certs/ca-certificates.crt";  ///< absolute path of a PEM file
  } http;

  struct {
    bool online = false;
    bool issuers = false;  ///< fetch certificates of unknown issuers, too; only when online
    unsigned timeoutMs = 10'000;
  } revocation;

  struct {
    bool systemRoots = false;
  } trust;

  struct {
    Prompt prompt = Prompt::None;
    std::string program;  ///< absolute path of a pinentry program
    unsigned promptTimeoutMs = 60'000;
    unsigned cacheSeconds = 300;  ///< 0: no cache
    unsigned cacheMaxSeconds = 28'800;
    unsigned kdfRounds = 600'000;
  } pin;

  struct {
    TraceOutput output = TraceOutput::None;
    std::string file;  ///< absolute path; naming one is enough to trace there
    TraceFormat format = TraceFormat::Text;
    unsigned level = 0xF;  ///< mask of the levels 1, 2, 4 and 8
  } trace;

  struct {
    std::string cipherSet = "1.2.643.2.2.31.1";  ///< parameters of GOST 28147-89 (RFC 4357, 11.2)
  } content;

  /// What could not be read or understood, a sentence each; the defaults stand in for it.
  std::vector<std::string> problems;
};

/// readConfiguration reads the file ($QXPROVIDER_CONF, else $XDG_CONFIG_HOME/qxprovider/provider.conf
/// if it is there, else /etc/qxprovider/provider.conf if it is there) and then the environment.
Configuration readConfiguration();

/// configuration is what readConfiguration gave at its first use in this process.
const Configuration& configuration();

}  // namespace qx

#endif
