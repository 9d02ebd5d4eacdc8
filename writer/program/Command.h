#pragma once

#include "writer/program/Arguments.h"

#include <halyx/Writer.h>

#include <string>
#include <vector>

namespace Halyx::Writer {

class Stop;

/// One command of the program.
class Command {
public:
    virtual ~Command() = default;
    Command() = default;
    Command(const Command&) = delete;
    Command& operator=(const Command&) = delete;

    [[nodiscard]] virtual const char* name() const = 0;
    [[nodiscard]] virtual const char* operands() const { return "COLLECTION"; } ///< for the help text
    [[nodiscard]] virtual std::size_t mostOperands() const { return 1; }
    [[nodiscard]] virtual const char* summary() const = 0; ///< one line
    [[nodiscard]] virtual const char*
    description() const = 0; ///< what the help text says below the options; whole lines
    [[nodiscard]] virtual std::vector<OptionDescription> options() const = 0;
    /// The exit status. Throws UsageError, Norvu::Exception, halyx::Error.
    [[nodiscard]] virtual int run(const Arguments& arguments, const Stop& stop) const = 0;
};

/// Writes to standard output at once. Throws Norvu::RuntimeException when that fails.
void print(const std::string& text);
/// Says that the collection is in place: the line "ready COLLECTION".
void printReady(const std::string& collection);

const Command& createCommand();
const Command& loadCommand();
const Command& churnCommand();
const Command& mirrorProcCommand();
const Command& attachCommand();

} // namespace Halyx::Writer
