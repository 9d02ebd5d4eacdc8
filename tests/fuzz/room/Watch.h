#pragma once

#include <cstddef>
#include <functional>
#include <string>

namespace Fuzz {

/// What a report wrote to the two streams.
struct Said {
    std::string out;
    std::string err;
    std::string exception; ///< the text of one that left it, as the launcher would print it
    int status = 1;        ///< 1 when an exception left it
};

/// Runs a report of the tool in this process, with the streams kept from the terminal. Ends the process, after saying why, when
/// the report writes more than `most` bytes, returns what is no exit status, or throws what the tool does not promise.
Said watch(const std::string& what, std::size_t most, const std::function<int()>& report);

/// Ends the process when a text that is meant for a terminal has other bytes than lines of printable ASCII,
/// which tabs may begin.
void expectPrintable(const std::string& what, const std::string& text);
/// Both streams' texts.
void expectPrintable(const std::string& what, const Said& said);

/// Says what is wrong, with the beginning of `text`, and ends the process.
[[noreturn]] void fail(const std::string& what, const std::string& why, const std::string& text = {});

} // namespace Fuzz
