#include "Digest.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <stdexcept>
#include <unistd.h>

namespace Bench {

namespace {

/// Digests text that comes in pieces, as far as its lines begin with the prefix.
class Digester {
public:
    explicit Digester(std::string_view prefix) : prefix_(prefix) {}

    void add(std::string_view text) {
        if (prefix_.empty()) {
            take(text);
            return;
        }
        rest_ += text;
        std::size_t begin = 0;
        for (std::size_t end = 0; (end = rest_.find('\n', begin)) != std::string::npos; begin = end + 1) {
            const std::string_view line = std::string_view(rest_).substr(begin, end + 1 - begin);
            if (line.substr(0, prefix_.size()) == prefix_) {
                take(line);
            }
        }
        rest_.erase(0, begin);
    }
    [[nodiscard]] const Digest& digest() const { return digest_; }

private:
    static constexpr std::size_t kKept = 200;

    void take(std::string_view text) {
        std::uint64_t hash = digest_.hash;
        for (const char byte : text) {
            hash = (hash ^ static_cast<unsigned char>(byte)) * 1099511628211ULL;
        }
        digest_.hash = hash;
        digest_.bytes += text.size();
        digest_.lines += static_cast<std::uint64_t>(std::count(text.begin(), text.end(), '\n'));
        digest_.head += text.substr(0, kKept - std::min(kKept, digest_.head.size()));
        digest_.tail += text.substr(text.size() - std::min(kKept, text.size()));
        digest_.tail.erase(0, digest_.tail.size() - std::min(kKept, digest_.tail.size()));
    }

    std::string_view prefix_;
    std::string rest_;
    Digest digest_;
};

} // namespace

Digest digestOf(const Program& program, int status, std::string_view prefix) {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) {
        failSystem("pipe");
    }
    const pid_t child = start(program, ends[1]);
    ::close(ends[1]);
    Digester digester(prefix);
    std::vector<char> block(1 << 16);
    for (ssize_t got = 0; (got = ::read(ends[0], block.data(), block.size())) != 0;) {
        if (got > 0) {
            digester.add({block.data(), static_cast<std::size_t>(got)});
        } else if (errno != EINTR) {
            break;
        }
    }
    ::close(ends[0]);
    finish(child, status);
    return digester.digest();
}

void expectSame(const std::string& what, const Digest& tool, const Digest& bare) {
    if (tool.bytes == 0) {
        throw std::runtime_error(what + ": nothing was printed");
    }
    if (tool.bytes != bare.bytes || tool.lines != bare.lines || tool.hash != bare.hash) {
        throw std::runtime_error(what + ": not what halyx prints, " + std::to_string(bare.bytes) + " bytes in " +
                                 std::to_string(bare.lines) + " lines and " + std::to_string(tool.bytes) + " in " +
                                 std::to_string(tool.lines));
    }
}

} // namespace Bench
