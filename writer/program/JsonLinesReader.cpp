#include "writer/program/RecordReader.h"

#include <cstdint>
#include <string_view>
#include <unordered_set>
#include <utility>

namespace Halyx::Writer {

namespace {

constexpr unsigned kMostDepth = 64;

/// Takes one object apart, to the fields that are at the ends of its ways. Throws BadLine.
class ObjectParser {
public:
    explicit ObjectParser(std::string_view text) : text_(text) {}

    void parse(Record& record) {
        record.names.clear();
        record.fields.clear();
        skipBlanks();
        if (peek() != '{') {
            fail("an object");
        }
        parseObject(record);
        skipBlanks();
        if (at_ != text_.size()) {
            fail("nothing behind the object");
        }
    }

private:
    [[noreturn]] void fail(const std::string& expected) const {
        throw BadLine("expected " + expected + " at byte " + std::to_string(at_ + 1));
    }
    [[nodiscard]] char peek() const { return at_ < text_.size() ? text_[at_] : '\0'; }
    void skipBlanks() {
        while (at_ < text_.size() && (peek() == ' ' || peek() == '\t' || peek() == '\r' || peek() == '\n')) {
            ++at_;
        }
    }
    void expect(char wanted, const char* what) {
        skipBlanks();
        if (peek() != wanted) {
            fail(what);
        }
        ++at_;
    }

    void parseObject(Record& record) {
        const std::size_t outer = path_.size();
        parseList(record, '}', "',' or '}'", [&](std::size_t) {
            const std::string name = parseString("a name in double quotes");
            expect(':', "':'");
            path_ += (outer == 0 ? "" : ".") + name;
            parseValue(record);
            path_.resize(outer);
        });
    }

    void parseArray(Record& record) {
        const std::size_t outer = path_.size();
        parseList(record, ']', "',' or ']'", [&](std::size_t index) {
            path_ += "[" + std::to_string(index) + "]";
            parseValue(record);
            path_.resize(outer);
        });
    }

    /// What stands between the brackets, the first of which is next.
    template <typename Item>
    void parseList(Record& record, char close, const char* expected, Item item) {
        if (++depth_ > kMostDepth) {
            throw BadLine("nested more than " + std::to_string(kMostDepth) + " deep");
        }
        ++at_;
        skipBlanks();
        if (peek() == close) {
            ++at_;
            if (!path_.empty()) {
                add(record, {Record::Kind::Empty, {}});
            }
        } else {
            for (std::size_t index = 0;; ++index) {
                skipBlanks();
                item(index);
                skipBlanks();
                if (peek() == close) {
                    ++at_;
                    break;
                }
                expect(',', expected);
            }
        }
        --depth_;
    }

    void add(Record& record, Record::Field field) {
        named_ += path_.size();
        if (named_ > Input::kMostRecordBytes) {
            throw BadLine("names of more than " + std::to_string(Input::kMostRecordBytes) + " bytes");
        }
        if (!names_.insert(path_).second) {
            throw BadLine("the name '" + path_ + "' appears twice");
        }
        record.names.push_back(path_);
        record.fields.push_back(std::move(field));
    }

    void parseValue(Record& record) {
        skipBlanks();
        switch (peek()) {
        case '"':
            return add(record, {Record::Kind::Text, parseString("a string")});
        case '{':
            return parseObject(record);
        case '[':
            return parseArray(record);
        case 't':
            return add(record, parseWord("true", Record::Kind::Bool));
        case 'f':
            return add(record, parseWord("false", Record::Kind::Bool));
        case 'n':
            parseWord("null", Record::Kind::Null);
            return add(record, {Record::Kind::Null, {}});
        default:
            return add(record, {Record::Kind::Number, parseNumber()});
        }
    }

    Record::Field parseWord(std::string_view word, Record::Kind kind) {
        if (text_.substr(at_, word.size()) != word) {
            fail("a value");
        }
        at_ += word.size();
        return {kind, std::string(word)};
    }

    void skipDigits() {
        if (peek() < '0' || peek() > '9') {
            fail("a digit");
        }
        while (peek() >= '0' && peek() <= '9') {
            ++at_;
        }
    }

    std::string parseNumber() {
        const std::size_t begin = at_;
        if (peek() == '-') {
            ++at_;
        } else if (peek() < '0' || peek() > '9') {
            fail("a value");
        }
        if (peek() == '0') {
            ++at_;
        } else {
            skipDigits();
        }
        if (peek() == '.') {
            ++at_;
            skipDigits();
        }
        if (peek() == 'e' || peek() == 'E') {
            ++at_;
            if (peek() == '+' || peek() == '-') {
                ++at_;
            }
            skipDigits();
        }
        return std::string(text_.substr(begin, at_ - begin));
    }

    std::string parseString(const char* what) {
        if (peek() != '"') {
            fail(what);
        }
        ++at_;
        std::string result;
        for (;;) {
            if (at_ == text_.size()) {
                fail("a closing quote");
            }
            const char byte = text_[at_];
            if (static_cast<unsigned char>(byte) < 0x20) {
                fail("an escape for a control character");
            }
            ++at_;
            if (byte == '"') {
                return result;
            }
            if (byte == '\\') {
                parseEscape(result);
            } else {
                result += byte;
            }
        }
    }

    void parseEscape(std::string& result) {
        constexpr std::string_view letters = "\"\\/bfnrt";
        constexpr std::string_view meanings = "\"\\/\b\f\n\r\t";
        const char letter = peek();
        if (letter == 'u') {
            ++at_;
            appendUtf8(result, parseCodePoint());
            return;
        }
        const std::size_t which = at_ < text_.size() ? letters.find(letter) : std::string_view::npos;
        if (which == std::string_view::npos) {
            fail("an escape");
        }
        ++at_;
        result += meanings[which];
    }

    std::uint32_t parseHex4() {
        std::uint32_t value = 0;
        for (unsigned i = 0; i < 4; ++i) {
            constexpr std::string_view digits = "0123456789abcdefABCDEF";
            const std::size_t digit = at_ < text_.size() ? digits.find(peek()) : std::string_view::npos;
            if (digit == std::string_view::npos) {
                fail("four hexadecimal digits");
            }
            value = value << 4 | static_cast<std::uint32_t>(digit < 16 ? digit : digit - 6);
            ++at_;
        }
        return value;
    }

    std::uint32_t parseCodePoint() {
        const std::uint32_t first = parseHex4();
        if (first < 0xd800 || first > 0xdfff) {
            return first;
        }
        if (first <= 0xdbff && text_.substr(at_, 2) == "\\u") {
            at_ += 2;
            const std::uint32_t second = parseHex4();
            if (second >= 0xdc00 && second <= 0xdfff) {
                return 0x10000 + ((first - 0xd800) << 10) + (second - 0xdc00);
            }
        }
        fail("both halves of a surrogate pair");
    }

    static void appendUtf8(std::string& result, std::uint32_t point) {
        const auto tail = [&](unsigned shift) { result += static_cast<char>(0x80 | (point >> shift & 0x3f)); };
        if (point < 0x80) {
            result += static_cast<char>(point);
        } else if (point < 0x800) {
            result += static_cast<char>(0xc0 | point >> 6);
            tail(0);
        } else if (point < 0x10000) {
            result += static_cast<char>(0xe0 | point >> 12);
            tail(6);
            tail(0);
        } else {
            result += static_cast<char>(0xf0 | point >> 18);
            tail(12);
            tail(6);
            tail(0);
        }
    }

    std::string_view text_;
    std::size_t at_ = 0;
    unsigned depth_ = 0;
    std::string path_; ///< of the value that is being read
    std::unordered_set<std::string> names_;
    std::size_t named_ = 0; ///< bytes of names: each of many values may have a long way
};

class JsonLinesReader : public RecordReader {
public:
    using RecordReader::RecordReader;

    bool next(Record& record) override {
        while (readLine()) {
            if (line_.find_first_not_of(" \t\r") != std::string::npos) {
                ObjectParser(line_).parse(record);
                return true;
            }
        }
        return false;
    }

private:
    bool readLine() {
        line_.clear();
        beginRecord();
        int byte = input().get();
        if (byte == Input::kEnd) {
            return false;
        }
        for (; byte != '\n' && byte != Input::kEnd; byte = input().get()) {
            if (line_.size() == Input::kMostRecordBytes) {
                throw BadLine("longer than " + std::to_string(Input::kMostRecordBytes) + " bytes");
            }
            line_ += static_cast<char>(byte);
        }
        return true;
    }

    std::string line_;
};

} // namespace

std::unique_ptr<RecordReader> makeJsonLinesReader(Input& input) {
    return std::make_unique<JsonLinesReader>(input);
}

} // namespace Halyx::Writer
