#include "provider/http/url.h"

#include <string>

#include <gtest/gtest.h>

namespace qx::url_test {
namespace {

bool isRefused(const std::string& text) {
  const Result<Url> url = parseUrl(text);
  return !url && url.error() == ERROR_WINHTTP_INVALID_URL;
}

TEST(Url, HasItsParts) {
  const Result<Url> url = parseUrl("HTTPS://Stamps.Example:8443/a/b?c=d#e");
  ASSERT_TRUE(url);
  EXPECT_TRUE(url->secure);
  EXPECT_EQ(url->host, "stamps.example");
  EXPECT_EQ(url->port, 8443);
  EXPECT_EQ(url->target, "/a/b?c=d");
  EXPECT_EQ(url->authority(), "stamps.example:8443");
}

TEST(Url, KnowsTheUsualPorts) {
  EXPECT_EQ(parseUrl("http://a")->port, 80);
  EXPECT_EQ(parseUrl("https://a")->port, 443);
  EXPECT_EQ(parseUrl("http://a:80/")->authority(), "a");
  EXPECT_EQ(parseUrl("https://a:80/")->authority(), "a:80");
}

TEST(Url, HasARootWithoutAPath) {
  EXPECT_EQ(parseUrl("http://a")->target, "/");
  EXPECT_EQ(parseUrl("http://a?b")->target, "/?b");
  EXPECT_EQ(parseUrl("http://a#b")->target, "/");
}

TEST(Url, TakesIpv6Addresses) {
  const Result<Url> url = parseUrl("http://[::1]:81/x");
  ASSERT_TRUE(url);
  EXPECT_EQ(url->host, "::1");
  EXPECT_EQ(url->port, 81);
  EXPECT_EQ(url->authority(), "[::1]:81");
  EXPECT_EQ(parseUrl("http://[FE80::1]")->authority(), "[fe80::1]");
}

TEST(Url, RefusesOtherSchemes) {
  for (const char* text : {"",
                           "a",
                           "http:",
                           "http:/",
                           "http:/a",
                           "//a/",
                           "ftp://a/",
                           "file:///etc/passwd",
                           "ldap://a/cn=b",
                           "httpx://a/",
                           " http://a/"}) {
    EXPECT_TRUE(isRefused(text)) << text;
  }
}

TEST(Url, RefusesHostsThatAreNone) {
  for (const char* text : {"http://",
                           "http:///a",
                           "http://:80/",
                           "http://user@a/",
                           "http://user:password@a/",
                           "http://a%20b/",
                           "http://a\\b/",
                           "http://[::1/",
                           "http://[]/",
                           "http://[::1]a/",
                           "http://[fe80::1%25eth0]/",
                           "http://[a]b]/"}) {
    EXPECT_TRUE(isRefused(text)) << text;
  }
  EXPECT_FALSE(isRefused("http://" + std::string(253, 'a')));
  EXPECT_TRUE(isRefused("http://" + std::string(254, 'a')));
}

TEST(Url, RefusesPortsThatAreNone) {
  for (const char* port : {":", ":0", ":65536", ":-1", ":+1", ":1a", ":99999999999999", "::1"}) {
    EXPECT_TRUE(isRefused("http://a" + std::string(port) + "/")) << port;
  }
  EXPECT_EQ(parseUrl("http://a:65535/")->port, 65535);
}

TEST(Url, RefusesWhatWouldBreakARequest) {
  for (const char c : {'\r', '\n', '\0', '\t', ' ', '\x7F', '\x80', '\xFF', '\x01'}) {
    EXPECT_TRUE(isRefused(std::string("http://a/b") + c + "c"));
    EXPECT_TRUE(isRefused(std::string("http://a") + c + "/"));
  }
}

TEST(Url, IsBounded) {
  const std::string begin = "http://a/";
  EXPECT_FALSE(isRefused(begin + std::string(kMaxUrlLength - begin.size(), 'b')));
  EXPECT_TRUE(isRefused(begin + std::string(kMaxUrlLength - begin.size() + 1, 'b')));
}

TEST(Url, IsShownWithoutItsQuery) {
  EXPECT_EQ(parseUrl("https://a:81/b?password=c#d")->shown(), "https://a:81/b");
}

TEST(Url, KnowsItsServer) {
  const Url url = *parseUrl("http://a/b");
  EXPECT_TRUE(url.isSameServer(*parseUrl("http://A:80/c")));
  EXPECT_FALSE(url.isSameServer(*parseUrl("https://a:80/b")));
  EXPECT_FALSE(url.isSameServer(*parseUrl("http://a:81/b")));
  EXPECT_FALSE(url.isSameServer(*parseUrl("http://b/b")));
}

std::string redirected(const std::string& from, const std::string& location) {
  const Result<Url> to = redirectedUrl(*parseUrl(from), location);
  if (!to) {
    EXPECT_EQ(to.error(), ERROR_WINHTTP_REDIRECT_FAILED);
    return "refused";
  }
  return to->shown();
}

TEST(RedirectedUrl, StaysAtTheHost) {
  EXPECT_EQ(redirected("http://a:81/b", "/c"), "http://a:81/c");
  EXPECT_EQ(redirected("http://[::1]:81/b", "/c"), "http://[::1]:81/c");
  EXPECT_EQ(redirected("http://a/b", "http://A/c"), "http://a/c");
  EXPECT_EQ(redirected("http://a/b", "https://a/b"), "https://a/b");
  EXPECT_EQ(redirected("https://a/b", "/c"), "https://a/c");
}

TEST(RedirectedUrl, RefusesEveryOtherPlace) {
  for (const char* location : {"",
                               "c",
                               "//b/c",
                               "http://b/",
                               "http://a.b/",
                               "ftp://a/",
                               "http://a@b/",
                               "/c\r\nX: y",
                               "javascript:1"}) {
    EXPECT_EQ(redirected("http://a/b", location), "refused") << location;
  }
}

TEST(RedirectedUrl, NeverLeavesASecureConnection) {
  EXPECT_EQ(redirected("https://a/b", "http://a/b"), "refused");
  EXPECT_EQ(redirected("https://a/b", "http://a:443/b"), "refused");
}

}  // namespace
}  // namespace qx::url_test
