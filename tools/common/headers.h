#ifndef QX_TOOLS_COMMON_HEADERS_H_
#define QX_TOOLS_COMMON_HEADERS_H_

// What takes longest to read of what the tools include, compiled once for all of them. Each file still names
// what it needs: the lint reads it without this.
#include <algorithm>
#include <chrono>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#endif
