#pragma once

#include "writer/program/Input.h"
#include "writer/program/Record.h"

#include <memory>
#include <string>

namespace Halyx::Writer {

/// Takes records off an input, which it borrows.
class RecordReader {
public:
    explicit RecordReader(Input& input) : input_(&input) {}
    virtual ~RecordReader() = default;
    RecordReader(const RecordReader&) = delete;
    RecordReader& operator=(const RecordReader&) = delete;

    /// The next record; false at the end. Throws BadLine, and what Input throws.
    virtual bool next(Record& record) = 0;

    /// The number of the line on which the record that was read last, or is wrong, begins.
    [[nodiscard]] std::size_t line() const { return line_; }

protected:
    [[nodiscard]] Input& input() const { return *input_; }
    void beginRecord() { line_ = input_->line(); }

private:
    Input* input_;
    std::size_t line_ = 1;
};

/// Comma-separated values with a header line that names the columns. Fields may be in double quotes (then a quote in them is
/// doubled and they may hold commas and ends of lines); lines end with LF or CR LF; empty lines are skipped. Every line has as
/// many fields as the header.
std::unique_ptr<RecordReader> makeCsvReader(Input& input);

/// One JSON object a line; empty lines are skipped. A lone half of a surrogate pair is an error.
std::unique_ptr<RecordReader> makeJsonLinesReader(Input& input);

} // namespace Halyx::Writer
