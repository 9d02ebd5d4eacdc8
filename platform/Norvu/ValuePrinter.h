#pragma once

#include <memory>
#include <string>

namespace Norvu::Platform {

enum class ValueStyle { Pretty, Json };

/// Turns the bytes of one value of a known type into text. The base class knows no type: it prints hexadecimal digits, in
/// every style. Stateless once built, so that printing a value looks nothing up.
class ValuePrinter {
public:
    explicit ValuePrinter(unsigned size) : size_(size) {}
    virtual ~ValuePrinter() = default;
    ValuePrinter(const ValuePrinter&) = delete;
    ValuePrinter& operator=(const ValuePrinter&) = delete;

    /// Appends the text of the value at `value`, which has size() bytes and any alignment.
    virtual void toString(const void* value, ValueStyle style, std::string& out) const;

    /// The bytes of one value.
    [[nodiscard]] unsigned size() const { return size_; }

private:
    unsigned size_;
};

/// The printer of a type name and size as a collection's header gives them. Never fails: an unknown type, or a known one of
/// another size, gets the base printer.
std::shared_ptr<ValuePrinter> getValuePrinter(const std::string& typeName, unsigned size);

} // namespace Norvu::Platform
