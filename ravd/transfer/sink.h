// Where the bytes of a download go: a file, with a limit, and an MD5 that is worked out on the way.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "ravd/model/fault.h"

struct evp_md_ctx_st;

namespace ravd {

class Sink {
 public:
    // fd: an open file, borrowed, which is written from where it stands. most: bytes.
    Sink(int fd, uint64_t most);
    ~Sink();

    // False when they can't be taken; fault() then says why.
    bool take(std::string_view bytes);
    // What went wrong, or what the whole has wrong: 9018 with the name of what differs. md5: hex digits of either case;
    // empty: not known.
    Fault fault() const { return fault_; }
    Fault verify(const std::string &md5, std::optional<uint64_t> size);

    uint64_t bytes() const { return bytes_; }

 private:
    struct FreeDigest {
        void operator()(evp_md_ctx_st *context) const;
    };

    int fd_;
    uint64_t most_;
    uint64_t bytes_ = 0;
    std::unique_ptr<evp_md_ctx_st, FreeDigest> digest_;
    Fault fault_;
};

}  // namespace ravd
