#pragma once

#include "writer/program/Record.h"

#include <cstdint>
#include <memory>
#include <string>

namespace Halyx::Writer {

/// Turns a record into the bytes of a value of one type.
class Encoder {
public:
    virtual ~Encoder() = default;
    Encoder() = default;
    Encoder(const Encoder&) = delete;
    Encoder& operator=(const Encoder&) = delete;

    /// Bytes of a value, of the largest when they differ.
    [[nodiscard]] virtual std::uint32_t valueSize() const = 0;
    /// Puts the value into `bytes`: valueSize() of them, or fewer where the type has shorter values and `dynamic` allows them.
    /// Throws BadLine when the record holds no such value.
    virtual void encode(const Record& record, bool dynamic, std::string& bytes) const = 0;
};

/// The encoder for values of the type `typeName`, or null when it is unknown. `key` and `value` name columns. `value` empty: for
/// text all columns, joined by blanks; for anything else the one column beside the key.
std::unique_ptr<Encoder> makeEncoder(const std::string& typeName, const std::string& key, const std::string& value);

} // namespace Halyx::Writer
