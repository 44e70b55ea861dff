#ifndef QX_TESTS_HEADERS_H_
#define QX_TESTS_HEADERS_H_

// What nearly every test includes, compiled once for all. Each file still names what it needs: the lint reads
// it without this.
#include <algorithm>
#include <array>
#include <filesystem>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#endif
