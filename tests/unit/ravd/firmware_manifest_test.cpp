// Manifests: what must be in them, and of which form.
#include <gtest/gtest.h>

#include "ravd/firmware/manifest.h"
#include "tests/unit/ravd/image_fixture.h"

namespace ravd {
namespace {

std::string problem_of(const std::string &text) {
    Manifest manifest;
    return parse_manifest(text, manifest);
}

const std::string row = manifest_row("kernel", "x");

TEST(Manifest, IsRead) {
    Manifest manifest;
    ASSERT_EQ(parse_manifest(R"({"format":1,"model":"M 1","version":"1.0.0-b","more":[1],"payloads":[)" + row + "," +
                                 manifest_row("a_B-0+1.img", "yy") + "]}",
                             manifest),
              "");
    EXPECT_EQ(manifest.model, "M 1");
    EXPECT_EQ(manifest.version, "1.0.0-b");
    ASSERT_EQ(manifest.payloads.size(), 2U);
    EXPECT_EQ(manifest.payloads[1].name, "a_B-0+1.img");
    EXPECT_EQ(manifest.payloads[1].sha256, sha256_hex("yy"));
    EXPECT_EQ(manifest.total_size(), 3U);
}

TEST(Manifest, ThatIsNoneLeavesNothing) {
    Manifest manifest;
    ASSERT_EQ(parse_manifest(manifest_text(row), manifest), "");
    EXPECT_NE(parse_manifest("{}", manifest), "");
    EXPECT_TRUE(manifest.payloads.empty() && manifest.text.empty());
}

TEST(Manifest, OfAnotherFormIsRefused) {
    for (const char *text :
         {"", "{}", "[]", "1", "{", "{\"format\":\"1\"}", "{\"format\":1.0}", "\xff", "{\"format\":1,\"format\":1}"})
        EXPECT_EQ(problem_of(text), "the manifest is not readable") << text;
    EXPECT_EQ(problem_of(R"({"format":2})"), "the manifest is of another format");
    EXPECT_EQ(problem_of(std::string(manifest_limit + 1, ' ')), "the manifest is too large");
}

TEST(Manifest, NamesModelAndVersion) {
    for (const std::string &label :
         {std::string(), std::string(65, 'x'), std::string(R"(a\u0007b)"), std::string(R"(\n)")}) {
        EXPECT_EQ(problem_of(manifest_text(row, label)), "the manifest names no model") << label;
        EXPECT_EQ(problem_of(manifest_text(row, "M", label)), "the manifest names no version") << label;
    }
    EXPECT_EQ(problem_of(manifest_text(row, std::string(64, 'x'), std::string(64, 'y'))), "");
    EXPECT_EQ(problem_of(R"({"format":1,"model":7,"version":"1","payloads":[]})"), "the manifest names no model");
}

TEST(Manifest, ListsOneTo64Payloads) {
    const auto rows = [](size_t count) {
        std::string text;
        for (size_t n = 0; n < count; n++) text += (n == 0 ? "" : ",") + manifest_row("p" + std::to_string(n), "x");
        return manifest_text(text);
    };
    EXPECT_EQ(problem_of(rows(64)), "");
    for (const std::string &text :
         {rows(0), rows(65), manifest_text("").replace(manifest_text("").size() - 3, 2, "{}")})
        EXPECT_EQ(problem_of(text), "the manifest does not list 1 to 64 payloads") << text;
}

TEST(Manifest, HasPlainNamesOnly) {
    for (const std::string &name :
         {std::string(), std::string("."), std::string(".."), std::string("../x"), std::string("/x"),
          std::string("a/b"), std::string(".hidden"), std::string("a b"), std::string(65, 'n'),
          std::string("manifest.json"), std::string("manifest.sig"), std::string("digest"), std::string("k\xc3\xa4se")})
        EXPECT_EQ(problem_of(manifest_text(manifest_row(name, "x"))), "a payload's name is not a plain one") << name;
    EXPECT_EQ(problem_of(manifest_text(R"({"size":1,"sha256":""})")), "a payload's name is not a plain one");
    EXPECT_EQ(problem_of(manifest_text("7")), "a payload's name is not a plain one");
    EXPECT_EQ(problem_of(manifest_text(manifest_row(std::string(64, 'n'), "x"))), "");
    EXPECT_EQ(problem_of(manifest_text(row + "," + row)), "kernel: named twice");
}

TEST(Manifest, HasSizesAndHashes) {
    const std::string hash(64, '0');
    const auto with = [](const std::string &size, const std::string &sha256) {
        return manifest_text(R"({"name":"k","size":)" + size + R"(,"sha256":)" + sha256 + "}");
    };
    EXPECT_EQ(problem_of(with("0", '"' + hash + '"')), "");
    for (const char *size : {"-1", "1.0", "\"1\"", "null"})
        EXPECT_EQ(problem_of(with(size, '"' + hash + '"')), "k: no size");
    for (const std::string &text : {hash + "0", hash.substr(1), std::string(64, 'G'), std::string(64, 'A')})
        EXPECT_EQ(problem_of(with("1", '"' + text + '"')), "k: no SHA-256") << text;
    EXPECT_EQ(problem_of(with("1", "1")), "k: no SHA-256");
}

TEST(Manifest, OfSizesBeyondCountingSumsUpToTheMost) {
    Manifest manifest;
    const std::string huge = R"(,"size":9223372036854775807,"sha256":")" + std::string(64, '0') + "\"}";
    ASSERT_EQ(
        parse_manifest(manifest_text(R"({"name":"a")" + huge + R"(,{"name":"b")" + huge + R"(,{"name":"c")" + huge),
                       manifest),
        "");
    EXPECT_EQ(manifest.total_size(), UINT64_MAX);
}

}  // namespace
}  // namespace ravd
