#include "Halyx/Util.h"

#include "Mem/RootPath.h"

#include <array>
#include <string_view>

namespace Halyx::Util {

namespace {

constexpr unsigned kSlabs = 32;

/// "0" to "31", written the one way.
bool isSlabNumber(std::string_view digits) {
    if (digits.empty() || digits.size() > 2 || (digits.size() == 2 && digits[0] == '0')) {
        return false;
    }
    unsigned number = 0;
    for (const char c : digits) {
        if (c < '0' || c > '9') {
            return false;
        }
        number = number * 10 + static_cast<unsigned>(c - '0');
    }
    return number < kSlabs;
}

} // namespace

bool isHalyxFile(const std::string& path) {
    constexpr std::array<std::string_view, 5> names{"slots", "buckets", "conquer.1", "conquer.2", "fenix"};
    constexpr std::string_view slab = "slab";
    std::string_view name = path;
    name.remove_prefix(name.rfind('/') + 1);
    for (const std::string_view known : names) {
        if (name == known) {
            return true;
        }
    }
    return name.substr(0, slab.size()) == slab && isSlabNumber(name.substr(slab.size()));
}

std::string traceHandleName(const std::string& path, const std::string& type, bool /*flag*/) {
    std::string_view name = path;
    const std::string root = collectionsRoot();
    if (name.substr(0, root.size()) == root && (name.size() == root.size() || name[root.size()] == '/')) {
        name.remove_prefix(root.size());
    }
    const std::size_t first = name.find_first_not_of('/');
    if (first == std::string_view::npos) {
        return type + "-";
    }
    name = name.substr(first, name.find_last_not_of('/') - first + 1);
    return type + "-" + std::string(name);
}

std::string decodeMagic(std::uint64_t magic) {
    std::string text;
    for (unsigned i = 0; i < 8; ++i) {
        const auto byte = static_cast<unsigned char>(magic >> (8 * i));
        text += byte >= 0x20 && byte <= 0x7e && byte != '"' && byte != '\\' ? static_cast<char>(byte) : '.';
    }
    return text;
}

} // namespace Halyx::Util
