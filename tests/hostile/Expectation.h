#pragma once

#include <cstddef>
#include <string>

namespace Hostile {

/// What the rules say of one run. Where they say nothing of a text, a mark stands for what is left open; `open` leaves all of it.
struct Expectation {
    bool open = false;
    int status = 0;
    std::string out;
    std::string err;

    /// The rest of the line may be anything.
    static constexpr char kAnything = '\x01';
    /// The rest of the line holds " [corrupted] " and a reason, whatever comes before it.
    static constexpr char kCorrupted = '\x02';
    /// A value's text, which no rule gives here. It never holds the arrow that stands before each value.
    static constexpr char kValue = '\x03';
    /// A number of at least one digit.
    static constexpr char kNumber = '\x04';
    /// Every further line may be anything.
    static constexpr char kLines = '\x05';

    static Expectation anything() { return {true, 0, {}, {}}; }
    static Expectation report(std::string text) { return {false, 0, std::move(text), {}}; }
    static Expectation failure(std::string out, std::string err) { return {false, 1, std::move(out), std::move(err)}; }
};

/// Compares line by line; empty when the text is as expected, else what differs. `cut`: there was more of the text than this.
std::string difference(const std::string& expected, const std::string& text, bool cut = false);

} // namespace Hostile
