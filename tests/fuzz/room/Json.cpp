#include "fuzz/room/Json.h"

#include <algorithm>
#include <cctype>
#include <cstddef>

namespace Fuzz {

namespace {

/// Reads from the front of a text; each function is false, and the rest of no meaning, when what it wants is not there.
class Reader {
public:
    explicit Reader(std::string_view text) : rest_(text) {}

    bool value() {
        blanks();
        if (rest_.empty()) {
            return false;
        }
        switch (rest_.front()) {
        case '{':
            return list('{', '}', [this] { return string() && sign(':') && value(); });
        case '[':
            return list('[', ']', [this] { return value(); });
        case '"':
            return string();
        default:
            return word("true") || word("false") || word("null") || number();
        }
    }
    bool end() {
        blanks();
        return rest_.empty();
    }

private:
    void blanks() { rest_.remove_prefix(std::min(rest_.find_first_not_of(" \n"), rest_.size())); }
    bool word(std::string_view wanted) {
        const bool there = rest_.substr(0, wanted.size()) == wanted;
        rest_.remove_prefix(there ? wanted.size() : 0);
        return there;
    }
    bool sign(char wanted) {
        blanks();
        return word({&wanted, 1});
    }
    template <typename Element>
    bool list(char begin, char end, const Element& element) {
        if (!sign(begin)) {
            return false;
        }
        if (sign(end)) {
            return true;
        }
        do {
            if (!element()) {
                return false;
            }
        } while (sign(','));
        return sign(end);
    }
    bool string() {
        if (!sign('"')) {
            return false;
        }
        while (!word("\"")) {
            if (rest_.empty()) {
                return false;
            }
            std::size_t length = 1;
            if (rest_[0] == '\\') {
                if (rest_.size() < 2 || std::string_view("\"\\/bfnrtu").find(rest_[1]) == std::string_view::npos) {
                    return false;
                }
                length = rest_[1] == 'u' ? 6 : 2;
            } else if (rest_[0] < 0x20 || rest_[0] > 0x7e) {
                return false;
            }
            for (std::size_t i = 2; i < length; ++i) {
                if (i >= rest_.size() || std::isxdigit(static_cast<unsigned char>(rest_[i])) == 0) {
                    return false;
                }
            }
            rest_.remove_prefix(length);
        }
        return true;
    }
    std::size_t digits() {
        const std::size_t count = std::min(rest_.find_first_not_of("0123456789"), rest_.size());
        rest_.remove_prefix(count);
        return count;
    }
    bool number() {
        word("-");
        const bool zero = !rest_.empty() && rest_.front() == '0';
        const std::size_t whole = digits();
        if (whole == 0 || (zero && whole > 1) || (word(".") && digits() == 0)) {
            return false;
        }
        if (word("e") || word("E")) {
            if (!word("+")) {
                word("-");
            }
            return digits() != 0;
        }
        return true;
    }

    std::string_view rest_;
};

} // namespace

bool isJson(std::string_view text) {
    Reader reader(text);
    return reader.value() && reader.end();
}

} // namespace Fuzz
