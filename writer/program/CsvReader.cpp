#include "writer/program/RecordReader.h"

#include <unordered_set>

namespace Halyx::Writer {

namespace {

class CsvReader : public RecordReader {
public:
    using RecordReader::RecordReader;

    bool next(Record& record) override {
        if (names_.empty()) {
            if (!readHeader()) {
                throw BadLine("there is no header line");
            }
        }
        if (record.names != names_) {
            record.names = names_;
        }
        if (!readLine(record.fields)) {
            return false;
        }
        if (record.fields.size() != names_.size()) {
            throw BadLine("has " + std::to_string(record.fields.size()) + " fields, the header " +
                          std::to_string(names_.size()));
        }
        return true;
    }

private:
    bool readHeader() {
        std::vector<Record::Field> fields;
        if (!readLine(fields)) {
            return false;
        }
        constexpr const char* byteOrderMark = "\xef\xbb\xbf";
        if (fields[0].text.compare(0, 3, byteOrderMark) == 0) {
            fields[0].text.erase(0, 3);
        }
        std::unordered_set<std::string> known;
        for (const Record::Field& field : fields) {
            if (field.text.empty()) {
                throw BadLine("column " + std::to_string(names_.size() + 1) + " has no name");
            }
            if (!known.insert(field.text).second) {
                throw BadLine("two columns have the name '" + field.text + "'");
            }
            names_.push_back(field.text);
        }
        return true;
    }

    /// The fields of the next line that is not empty.
    bool readLine(std::vector<Record::Field>& fields) {
        while (input().peek() == '\n' || input().peek() == '\r') {
            input().get();
        }
        if (input().peek() == Input::kEnd) {
            return false;
        }
        beginRecord();
        std::size_t count = 0;
        left_ = Input::kMostRecordBytes;
        for (bool more = true; more; ++count) {
            if (count == fields.size()) {
                fields.emplace_back();
            }
            fields[count].kind = Record::Kind::Text;
            fields[count].text.clear();
            more = readField(fields[count].text);
        }
        fields.resize(count);
        return true;
    }

    /// Whether another field follows on this line.
    bool readField(std::string& text) {
        if (input().peek() == '"') {
            readQuoted(text);
        } else {
            for (int byte = input().peek(); byte != ',' && byte != '\n' && byte != '\r' && byte != Input::kEnd;
                 byte = input().peek()) {
                if (byte == '"') {
                    throw BadLine("a quote in a field that does not begin with one");
                }
                append(text, input().get());
            }
        }
        const int byte = input().get();
        if (byte == '\r') {
            if (input().peek() != '\n' && input().peek() != Input::kEnd) {
                throw BadLine("a carriage return that does not end the line");
            }
            input().get();
            return false;
        }
        if (byte != ',' && byte != '\n' && byte != Input::kEnd) {
            throw BadLine("text behind the closing quote of a field");
        }
        return byte == ',';
    }

    void readQuoted(std::string& text) {
        input().get();
        for (;;) {
            const int byte = input().get();
            if (byte == Input::kEnd) {
                throw BadLine("a quote that is not closed");
            }
            if (byte == '"') {
                if (input().peek() != '"') {
                    return;
                }
                input().get();
            }
            append(text, byte);
        }
    }

    void append(std::string& text, int byte) {
        if (left_-- == 0) {
            throw BadLine("longer than " + std::to_string(Input::kMostRecordBytes) + " bytes");
        }
        text += static_cast<char>(byte);
    }

    std::vector<std::string> names_;
    std::size_t left_ = 0;
};

} // namespace

std::unique_ptr<RecordReader> makeCsvReader(Input& input) {
    return std::make_unique<CsvReader>(input);
}

} // namespace Halyx::Writer
