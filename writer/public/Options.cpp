#include <halyx/Options.h>

#include <algorithm>

namespace halyx {

KeyOf keyAt(std::uint32_t offset, std::uint32_t size) {
    return [offset, size](std::string_view value) {
        return value.substr(std::min<std::size_t>(offset, value.size()), size);
    };
}

} // namespace halyx
