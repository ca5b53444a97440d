// What is a URL and what is the name of a file.
#include "rv/url.h"

#include <string>
#include <string_view>

#include <gtest/gtest.h>

namespace {

bool is_url(std::string_view text) {
    rv_url url;
    return rv_url_parse_mem(&url, text.data(), text.size());
}

TEST(Url, HasASchemeAndSomethingBehindIt) {
    for (const char *text : {"http://host/file", "a://b", "x+y-z.1://anything at all", "FTP://H", "file:///etc/fw",
                             "netcat://1.2.3.4:5", "a://://"})
        EXPECT_TRUE(is_url(text)) << text;
}

TEST(Url, EverythingElseIsAName) {
    for (const char *text : {"", "file", "/a/b", "://host", "http:/host", "http//host", "1a://b", "-a://b", ".a://b",
                             "a b://c", "a/b://c", "a_b://c", "\xc3\xa4://b", "http://", "a:b://c", " http://host"})
        EXPECT_FALSE(is_url(text)) << text;
}

TEST(Url, OnlyTheGivenBytesCount) {
    const char text[] = "http://host";
    rv_url url;
    EXPECT_EQ(rv_url_parse_mem(&url, text, 7), 0);
    EXPECT_EQ(rv_url_parse_mem(&url, text, 8), 1);
    EXPECT_EQ(rv_url_parse_mem(&url, text, 0), 0);
}

TEST(Url, TellsItsParts) {
    const std::string text = "http://user@host:80/a://b";
    rv_url url;
    ASSERT_EQ(rv_url_parse_mem(&url, text.data(), text.size()), 1);
    EXPECT_EQ(std::string(url.scheme, url.scheme_length), "http");
    EXPECT_EQ(std::string(url.rest, url.rest_length), "user@host:80/a://b");
}

TEST(Url, ANameLeavesTheRecordAsItWas) {
    rv_url url = {.scheme = "kept", .scheme_length = 4, .rest = nullptr, .rest_length = 0};
    EXPECT_EQ(rv_url_parse_mem(&url, "name", 4), 0);
    EXPECT_STREQ(url.scheme, "kept");
}

}  // namespace
