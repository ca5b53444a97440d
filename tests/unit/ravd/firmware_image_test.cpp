// Images: what is taken, and that nothing else is, not one bit off.
#include <fstream>
#include <map>

#include <gtest/gtest.h>
#include <openssl/pem.h>

#include "ravd/firmware/image.h"
#include "tests/unit/ravd/image_fixture.h"

namespace ravd {
namespace {

struct Collected : PayloadSink {
    std::map<std::string, std::string> files;
    std::string present;
    std::string problem_at;  // where it refuses

    std::string begin(const Manifest &manifest) override { return problem_at == "begin" ? manifest.version : ""; }
    std::string open(const Payload &payload) override {
        files[present = payload.name];
        return problem_at == "open" ? "no more files" : "";
    }
    std::string write(std::string_view bytes) override {
        files[present] += bytes;
        return problem_at == "write" ? "no more bytes" : "";
    }
    std::string close() override { return problem_at == "close" ? "not closed" : ""; }
};

Fault check(std::string_view image, const SigningKey *key = nullptr) {
    const Descriptor file = file_of(image);
    Manifest manifest;
    return check_image(file.get(), {"Model", key}, manifest);
}

// The code and the reason, for the comparison with what is expected.
std::string refusal(const std::vector<TarEntry> &entries) {
    const Fault fault = check(image_of(entries));
    return fault ? std::to_string(fault.code) + " " + fault.detail : "taken";
}

TEST(Image, IsGivenPieceByPiece) {
    const Descriptor file = file_of(image_of(sound_entries()));
    Collected collected;
    Manifest manifest;
    ASSERT_FALSE(read_image(file.get(), {"Model", nullptr}, manifest, collected));
    EXPECT_EQ(manifest.version, "1.2.3");
    EXPECT_EQ(manifest.total_size(), 1518U);
    EXPECT_EQ(manifest.text, sound_entries()[0].content);
    EXPECT_EQ(collected.files, (std::map<std::string, std::string>{{"kernel", "kernel of a device"},
                                                                   {"root.img", std::string(1500, 'r')}}));
    lseek(file.get(), 700, SEEK_SET);
    EXPECT_FALSE(check_image(file.get(), {"Model", nullptr}, manifest)) << "wherever its offset is";
}

TEST(Image, OfAnEmptyPayload) {
    EXPECT_EQ(refusal({{"manifest.json", manifest_text(manifest_row("empty", ""))}, {"empty", ""}}), "taken");
}

TEST(Image, EndsWhereItsTakerWantsItTo) {
    const Descriptor file = file_of(image_of(sound_entries()));
    for (const auto &[place, reason] : std::map<std::string, std::string>{
             {"begin", "1.2.3"}, {"open", "no more files"}, {"write", "no more bytes"}, {"close", "not closed"}}) {
        Collected collected;
        collected.problem_at = place;
        Manifest manifest;
        const Fault fault = read_image(file.get(), {"Model", nullptr}, manifest, collected);
        EXPECT_EQ(fault.code, 9002) << place;
        EXPECT_EQ(fault.detail, reason);
    }
}

TEST(Image, WithAnyBitFlippedIsRefused) {
    const std::string image = image_of(sound_entries());
    ASSERT_FALSE(check(image));
    constexpr size_t stride = 13;  // prime to 8: every bit of a byte has its turns
    for (size_t bit = 0; bit < image.size() * 8; bit += stride) {
        std::string flipped = image;
        flipped[bit / 8] = static_cast<char>(flipped[bit / 8] ^ (1 << bit % 8));
        EXPECT_EQ(check(flipped).code, 9018) << "bit " << bit;
    }
}

TEST(Image, CutAnywhereIsRefused) {
    const std::string image = image_of(sound_entries());
    for (size_t size = 0; size < image.size(); size += size % 512 < 3 || size % 512 > 509 ? 1 : 13)
        EXPECT_EQ(check(std::string_view(image).substr(0, size)).code, 9018) << size;
    EXPECT_EQ(check(image.substr(0, image.size() - 512)).code, 9018);
}

TEST(Image, MayEndWithMoreZerosAndWithNothingElse) {
    const std::string image = image_of(sound_entries());
    EXPECT_FALSE(check(image + std::string(8 * 512, '\0')));
    EXPECT_TRUE(check(image + std::string(100, '\0')));
    EXPECT_TRUE(check(image + std::string(511, '\0') + "x"));
    EXPECT_TRUE(check(image + image));
}

TEST(Image, OfAnotherModelIsRefused) {
    auto entries = sound_entries();
    entries[0].content = manifest_text(manifest_row("kernel", entries[1].content), "Other");
    EXPECT_EQ(refusal(entries), "9018 it is made for the model Other");
}

TEST(Image, OfOtherPayloadsThanTheManifestHas) {
    const auto sound = sound_entries();
    EXPECT_EQ(refusal({sound[0]}), "9018 kernel is missing");
    EXPECT_EQ(refusal({sound[0], sound[1]}), "9018 root.img is missing");
    EXPECT_EQ(refusal({sound[0], sound[2], sound[1]}), "9018 kernel is missing");
    EXPECT_EQ(refusal({sound[0], sound[1], sound[1], sound[2]}), "9018 root.img is missing");
    EXPECT_EQ(refusal({sound[0], sound[1], sound[2], {"more", "x"}}), "9018 digest is missing");
    EXPECT_EQ(refusal({sound[0], sound[1], sound[2], sound[2]}), "9018 digest is missing");
    EXPECT_EQ(refusal({sound[1], sound[0], sound[2]}), "9018 manifest.json is missing");
    EXPECT_EQ(refusal({sound[0], sound[0], sound[1], sound[2]}), "9018 kernel is missing");
    auto other = sound;
    other[1].content[3] = '!';
    EXPECT_EQ(refusal(other), "9018 kernel: not what the manifest has a hash of");
    other[1].content += "longer";
    EXPECT_EQ(refusal(other), "9018 kernel: not of the size that the manifest has");
}

TEST(Image, OfAnythingButPlainFilesIsRefused) {
    const auto sound = sound_entries();
    for (const char type :
         {'1', '2', '3', '4', '5', '6', '7', 'x', 'g', 'L', 'K', 'S', 'M', 'V', 'D', 'A', 'Z', '\0'}) {
        auto entries = sound;
        entries[1].type = type;
        entries[1].link = "root.img";
        EXPECT_EQ(refusal(entries).substr(0, 4), "9018") << type;
        entries = sound;
        entries.insert(entries.begin() + 1,
                       {type == 'x' ? "PaxHeaders" : "other", "18 path=../../evil\n", type, "/etc/passwd"});
        EXPECT_EQ(refusal(entries).substr(0, 4), "9018") << type;
    }
}

TEST(Image, OfOtherKindsOfTarIsRefused) {
    for (const std::string &magic :
         {std::string("ustar  \0", 8), std::string(8, '\0'), std::string("ustaX\00000", 8)}) {
        auto entries = sound_entries();
        entries[1].magic = magic;
        EXPECT_EQ(refusal(entries).substr(0, 4), "9018");
    }
}

TEST(Image, OfPathsForNamesIsRefused) {
    for (const char *name :
         {"/kernel", "../kernel", "./kernel", "a/kernel", "kernel/", "..", ".", "kernel ", "Kernel"}) {
        auto entries = sound_entries();
        entries[1].name = name;
        EXPECT_EQ(refusal(entries).substr(0, 4), "9018") << name;
        entries[0].content = manifest_text(manifest_row(name, entries[1].content));
        EXPECT_EQ(refusal(entries).substr(0, 4), "9018") << name;
    }
}

TEST(Image, OfSizesThatLieIsRefused) {
    const std::string huge = std::string("\x80\0\0\0", 4) + std::string(8, '\x7f');
    for (const std::string &size : {std::string("77777777777"), std::string("00000000000"), huge,
                                    std::string(12, '\xff'), std::string("-0000000001"), std::string("           ")}) {
        for (const size_t place : {0U, 1U, 2U}) {
            auto entries = sound_entries();
            entries[place].size = size;
            EXPECT_EQ(refusal(entries).substr(0, 4), "9018");
        }
    }
    EXPECT_EQ(refusal({{"manifest.json", std::string(manifest_limit + 1, ' ')}}), "9018 manifest.json: too large");
}

TEST(Image, ThatIsNoneIsRefused) {
    for (const std::string &bytes :
         {std::string(), std::string("x"), std::string(512, '\0'), std::string(10240, '\0'), std::string(5000, 'x'),
          std::string("\x1f\x8b\x08\0\0\0\0\0", 8) + std::string(2000, 'z')})
        EXPECT_EQ(check(bytes).code, 9018) << bytes.size();
    Manifest manifest;
    EXPECT_EQ(check_image(-1, {"Model", nullptr}, manifest).code, 9018);
}

using Key = std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)>;

Key new_key() {
    return {EVP_PKEY_Q_keygen(nullptr, nullptr, "ED25519"), EVP_PKEY_free};
}

std::string sign(const Key &key, const std::string &text) {
    std::string signature(signature_size, '\0');
    size_t size = signature.size();
    const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(), EVP_MD_CTX_free);
    EVP_DigestSignInit(context.get(), nullptr, nullptr, nullptr, key.get());
    EVP_DigestSign(context.get(), reinterpret_cast<unsigned char *>(signature.data()), &size,
                   reinterpret_cast<const unsigned char *>(text.data()), text.size());
    return signature;
}

class SignedImage : public testing::Test {
 protected:
    void SetUp() override {
        const std::string path = testing::TempDir() + "firmware-key-" + std::to_string(getpid());
        FILE *file = fopen(path.c_str(), "w");
        PEM_write_PUBKEY(file, key.get());
        fclose(file);
        ASSERT_EQ(loaded.load(path), "");
        unlink(path.c_str());
    }
    // The sound image with that signature behind its manifest.
    static std::string with(const std::string &signature) {
        auto entries = sound_entries();
        entries.insert(entries.begin() + 1, {"manifest.sig", signature});
        return image_of(entries);
    }

    const Key key = new_key();
    SigningKey loaded;
    const std::string manifest = sound_entries()[0].content;
};

TEST_F(SignedImage, IsTaken) {
    EXPECT_FALSE(check(with(sign(key, manifest)), &loaded));
    EXPECT_FALSE(check(with(sign(key, manifest)))) << "also where nobody asks for it";
}

TEST_F(SignedImage, ByAnybodyElseIsRefused) {
    std::string off = sign(key, manifest);
    off[10] = static_cast<char>(off[10] ^ 4);
    for (const std::string &signature : {sign(new_key(), manifest), sign(key, manifest + " "), off, off.substr(1),
                                         std::string(), std::string(64, '\0')})
        EXPECT_EQ(check(with(signature), &loaded).code, 9019);
    EXPECT_EQ(check(with(sign(key, manifest) + "x"), &loaded).code, 9018);
}

TEST_F(SignedImage, IsRequiredOnceThereIsAKey) {
    const Fault fault = check(image_of(sound_entries()), &loaded);
    EXPECT_EQ(fault.code, 9019);
    EXPECT_EQ(fault.detail, "the image is not signed");
    const SigningKey none;
    EXPECT_FALSE(check(image_of(sound_entries()), &none));
}

TEST(SigningKey, MustBeAnEd25519Key) {
    SigningKey key;
    EXPECT_EQ(key.load("/nonexistent/key"), "/nonexistent/key: No such file or directory");
    const std::string path = testing::TempDir() + "other-key-" + std::to_string(getpid());
    std::ofstream(path) << "no key";
    EXPECT_EQ(key.load(path), path + ": no public Ed25519 key in PEM");
    const Key other(EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", "P-256"), EVP_PKEY_free);
    FILE *file = fopen(path.c_str(), "w");
    PEM_write_PUBKEY(file, other.get());
    fclose(file);
    EXPECT_EQ(key.load(path), path + ": no public Ed25519 key in PEM");
    EXPECT_FALSE(key.is_loaded());
    EXPECT_FALSE(key.verifies("", ""));
    unlink(path.c_str());
}

}  // namespace
}  // namespace ravd
