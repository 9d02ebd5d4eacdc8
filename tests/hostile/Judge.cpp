#include "hostile/Judge.h"

#include "fixtures/Bytes.h"
#include "fixtures/QueueOutput.h"

#include <cstring>

namespace Hostile {

namespace {

/// Line ends, and the tabs that two reports are laid out with; everything else from outside is made safe before it is printed.
std::string strayByte(Report report, const std::string& text) {
    const bool tabs = report == Report::Headers || report == Report::Queues || report == Report::ValidQueues;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if ((c < ' ' || c > '~') && c != '\n' && !(tabs && c == '\t')) {
            return "byte " + Fixtures::hexOf(std::string(1, c)) + " at " + std::to_string(i);
        }
    }
    return {};
}

bool sanitizerSpoke(const Run& run) {
    return run.err.find("Sanitizer") != std::string::npos || run.err.find("runtime error:") != std::string::npos;
}

} // namespace

std::string Judge::fault(Report report, const Expectation& expected, const Run& run) const {
    if (run.hung) {
        return "hung: killed after " + std::to_string(run.seconds) + " s";
    }
    if (run.signal != 0) {
        return std::string("ended by signal: ") + ::strsignal(run.signal) + "\n" + run.err.substr(0, 2000);
    }
    if (sanitizerSpoke(run)) {
        return "sanitizer report:\n" + run.err.substr(0, 4000);
    }
    if (run.status != 0 && run.status != 1) {
        return "strange status: " + std::to_string(run.status) + "\n" + run.err.substr(0, 2000);
    }
    if (run.seconds > limits_.seconds) {
        return "slow: " + std::to_string(run.seconds) + " s";
    }
    if (run.peakKiB > limits_.memoryMiB * 1024) {
        return "memory: " + std::to_string(run.peakKiB / 1024) + " MiB";
    }
    for (const std::string* const text : {&run.out, &run.err}) {
        if (const std::string stray = strayByte(report, *text); !stray.empty()) {
            return std::string("control byte on standard ") + (text == &run.out ? "output: " : "error: ") + stray;
        }
    }
    if (expected.open) {
        return {};
    }
    if (run.status != expected.status) {
        return "status " + std::to_string(run.status) + ", wanted " + std::to_string(expected.status) + "\n" +
               run.err.substr(0, 2000);
    }
    const bool timed = report == Report::Queues || report == Report::ValidQueues;
    const std::string out = difference(expected.out, timed ? Fixtures::withoutSeconds(run.out) : run.out, run.outCut);
    if (!out.empty()) {
        return "standard output, " + out;
    }
    const std::string err = difference(expected.err, run.err, run.errCut);
    return err.empty() ? "" : "standard error, " + err;
}

} // namespace Hostile
