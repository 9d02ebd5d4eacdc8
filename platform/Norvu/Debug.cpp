#include "Norvu/Debug.h"

#include "Norvu/Pattern.h"
#include "Norvu/Text.h"
#include "Norvu/Utc.h"

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <map>
#include <memory>
#include <mutex>
#include <string_view>
#include <unistd.h>

namespace Norvu::Platform {

namespace {

constexpr unsigned kMostLevel = 31;

bool parseLevel(std::string_view text, unsigned& level) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), level);
    return error == std::errc{} && end == text.data() + text.size() && level <= kMostLevel;
}

/// Levels as "3", "0-5", "0-2,9" or "*".
bool parseLevels(std::string_view text, std::uint32_t& mask) {
    if (text == "*") {
        mask = 0xffffffffU;
        return true;
    }
    mask = 0;
    while (true) {
        const std::size_t comma = text.find(',');
        const std::string_view item = text.substr(0, comma);
        const std::size_t dash = item.find('-');
        unsigned first = 0;
        unsigned last = 0;
        if (!parseLevel(item.substr(0, dash), first)) {
            return false;
        }
        last = first;
        if (dash != std::string_view::npos && (!parseLevel(item.substr(dash + 1), last) || last < first)) {
            return false;
        }
        for (unsigned level = first; level <= last; ++level) {
            mask |= 1U << level;
        }
        if (comma == std::string_view::npos) {
            return true;
        }
        text.remove_prefix(comma + 1);
    }
}

/// Calls use(pattern, mask) for every good entry and bad(entry) for every malformed one.
template <typename Use, typename Bad>
void forEachEntry(std::string_view setting, Use use, Bad bad) {
    while (!setting.empty()) {
        const std::size_t end = setting.find(';');
        const std::string_view entry = setting.substr(0, end);
        setting.remove_prefix(end == std::string_view::npos ? setting.size() : end + 1);
        if (entry.empty()) {
            continue;
        }
        // A pattern may hold "=" itself, levels never do.
        const std::size_t equals = entry.rfind('=');
        std::uint32_t mask = 0;
        if (equals == std::string_view::npos || equals == 0 || !parseLevels(entry.substr(equals + 1), mask)) {
            bad(entry);
        } else {
            use(std::string(entry.substr(0, equals)), mask);
        }
    }
}

struct Registry {
    std::mutex mutex;
    std::map<std::string, std::unique_ptr<DebugHandler>> handlers;
    std::string setting;

    Registry() {
        const char* environment = std::getenv("NORVU_TRACE");
        setting = environment != nullptr ? environment : "";
        forEachEntry(
            setting, [](const std::string&, std::uint32_t) {},
            [](std::string_view entry) {
                const std::string line = "halyx: ignoring NORVU_TRACE entry '" + safeText(entry) + "'\n";
                std::fputs(line.c_str(), stderr);
            });
    }
};

Registry& registry() {
    static Registry* const instance = new Registry; // handlers live to the end of the process
    return *instance;
}

/// Where records go: the file that NORVU_TRACE_FILE names, or standard error when there is none or it cannot be opened.
int traceDescriptor() {
    static const int descriptor = [] {
        const char* name = std::getenv("NORVU_TRACE_FILE");
        if (name == nullptr || *name == '\0') {
            return STDERR_FILENO;
        }
        // Opened without waiting: nobody may be reading a FIFO of that name.
        const int file = ::open(name, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, 0640);
        if (file < 0) {
            return STDERR_FILENO;
        }
        ::fcntl(file, F_SETFL, O_APPEND);
        return file;
    }();
    return descriptor;
}

void appendTime(std::string& out) {
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    constexpr std::int64_t day = 86400;
    appendUtc(out, now.tv_sec / day, now.tv_sec % day);
    char text[16];
    std::snprintf(text, sizeof text, ".%06ldZ", now.tv_nsec / 1000 % 1000000);
    out += text;
}

} // namespace

std::uint32_t traceMask(const std::string& setting, const std::string& name) {
    std::uint32_t result = 0;
    forEachEntry(
        setting,
        [&](const std::string& pattern, std::uint32_t mask) {
            if (Util::matchesPattern(pattern, name)) {
                result = mask;
            }
        },
        [](std::string_view) {});
    return result;
}

DebugHandler& getDebugHandler(const std::string& name) {
    Registry& all = registry();
    const std::lock_guard<std::mutex> lock(all.mutex);
    std::unique_ptr<DebugHandler>& handler = all.handlers[name];
    if (!handler) {
        handler = std::make_unique<DebugHandler>(name, traceMask(all.setting, name));
    }
    return *handler;
}

void DebugHandler::log(const DebugStream& record, int level, const char* source, int line, const char* function) const {
    log(record.str(), level, source, line, function);
}

void DebugHandler::log(const std::string& text, int level, const char* source, int line, const char* function) const {
    std::string record;
    record.reserve(128 + text.size());
    appendTime(record);
    record += ' ';
    appendSafe(record, name_);
    record += ' ';
    record += std::to_string(level);
    record += ' ';
    record += source;
    record += ':';
    record += std::to_string(line);
    record += ' ';
    record += function;
    record += ": ";
    appendSafe(record, text);
    record += '\n';
    // One write a record, so that records of several processes in one file stay whole lines.
    const char* at = record.data();
    std::size_t left = record.size();
    while (left != 0) {
        const ssize_t written = ::write(traceDescriptor(), at, left);
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            return;
        }
        at += written;
        left -= static_cast<std::size_t>(written);
    }
}

} // namespace Norvu::Platform
