#include "fuzz/room/Archive.h"

#include <algorithm>
#include <cstring>

namespace Fuzz {

namespace {

constexpr std::size_t kHead = 3;
constexpr std::size_t kMostBytes = 0xffff;

} // namespace

Archive::Archive(Bytes input) {
    while (input.size() >= kHead) {
        const std::size_t wanted = input[1] | static_cast<std::size_t>(input[2]) << 8;
        const Bytes bytes = input.subspan(kHead, std::min(wanted, input.size() - kHead));
        files[input[0]].assign(bytes.begin(), bytes.end());
        input = input.subspan(kHead + bytes.size());
    }
}

std::string Archive::encode() const {
    std::string input;
    for (const auto& [name, bytes] : files) {
        const std::size_t size = std::min(bytes.size(), kMostBytes);
        input += static_cast<char>(name);
        input += static_cast<char>(size & 0xff);
        input += static_cast<char>(size >> 8);
        input.append(bytes, 0, size);
    }
    return input;
}

std::size_t Archive::store(unsigned char* data, std::size_t room) const {
    const std::string input = encode();
    if (input.size() > room) {
        return 0;
    }
    std::memcpy(data, input.data(), input.size());
    return input.size();
}

} // namespace Fuzz
