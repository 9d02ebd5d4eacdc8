#include "Report.h"

#include <algorithm>
#include <fstream>
#include <sstream>
#include <string_view>
#include <sys/utsname.h>
#include <unistd.h>

namespace Bench {

namespace {

/// Three digits or so: more would only be noise.
std::string text(double figure) {
    if (figure == 0) {
        return "0";
    }
    char digits[64];
    std::snprintf(digits, sizeof digits,
                  figure >= 100   ? "%.0f"
                  : figure >= 10  ? "%.1f"
                  : figure >= 0.1 ? "%.2f"
                                  : "%.4f",
                  figure);
    return digits;
}

std::string processor() {
    std::ifstream lines("/proc/cpuinfo");
    for (std::string line; std::getline(lines, line);) {
        if (line.compare(0, 10, "model name") == 0) {
            return line.substr(line.find(':') + 2);
        }
    }
    return "unknown processor";
}

} // namespace

Report::Report(const std::string& markdown) : path_(markdown) {
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    if (!path_.empty() && !std::ofstream(path_, std::ios::app)) {
        failSystem(path_);
    }
}

/// Between the marks of a file that has them, with the text around them as it was; else all of the file is the figures.
void Report::save() const {
    if (path_.empty()) {
        return;
    }
    constexpr std::string_view begin = "<!-- figures -->\n";
    constexpr std::string_view end = "<!-- end of the figures -->\n";
    std::stringstream old;
    old << std::ifstream(path_).rdbuf();
    std::string whole = old.str();
    const std::size_t from = whole.find(begin);
    const std::size_t to = whole.find(end);
    if (from != std::string::npos && to != std::string::npos && from < to) {
        whole.replace(from + begin.size(), to - from - begin.size(), markdown_);
    } else {
        whole = markdown_;
    }
    std::ofstream file(path_, std::ios::trunc);
    file << whole << std::flush;
    if (!file) {
        failSystem(path_);
    }
}

void Report::machine() {
    utsname system{};
    ::uname(&system);
    char line[512];
    std::snprintf(line, sizeof line, "%s, %ld processors, %s %s; optimised %zu-bit build, " HALYX_COMPILER,
                  processor().c_str(), ::sysconf(_SC_NPROCESSORS_ONLN), system.sysname, system.release,
                  8 * sizeof(void*));
    std::printf("%s\n", line);
    markdown_ += std::string(line) + "\n";
}

void Report::table(const std::string& title) {
    std::printf("\n%s\n", title.c_str());
    markdown_ += "\n### " + title + "\n\n| | median | spread | | goal |\n|---|--:|--:|---|---|\n";
}

void Report::row(const std::string& what, const Spread& figures, const std::string& unit, const std::string& goal) {
    print(what, text(figures.median), text(figures.least) + " to " + text(figures.most), unit, goal);
}

void Report::row(const std::string& what, double figure, const std::string& unit, const std::string& goal) {
    print(what, text(figure), "", unit, goal);
}

void Report::note(const std::string& what, const std::string& words) {
    print(what, "", "", words, "");
}

void Report::print(const std::string& what, const std::string& median, const std::string& spread,
                   const std::string& unit, const std::string& goal) {
    std::string line = "  " + what;
    line.resize(std::max<std::size_t>(line.size() + 1, 60), ' ');
    if (!median.empty()) {
        line += std::string(8 - std::min<std::size_t>(median.size(), 8), ' ') + median + "  ";
        const std::string range = spread.empty() ? "" : "(" + spread + ")";
        line += range + std::string(20 - std::min<std::size_t>(range.size(), 20), ' ');
    }
    line += " " + unit + (goal.empty() ? "" : "  goal: " + goal);
    line.erase(line.find_last_not_of(' ') + 1);
    std::printf("%s\n", line.c_str());
    markdown_ += "| " + what + " | " + median + " | " + spread + " | " + unit + " | " + goal + " |\n";
}

} // namespace Bench
