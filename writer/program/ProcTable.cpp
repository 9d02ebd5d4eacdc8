#include "writer/program/ProcTable.h"

#include "writer/CollectionDirectory.h"
#include "writer/Errors.h"
#include "writer/ProcessRecord.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <string_view>
#include <unistd.h>

namespace Halyx::Writer {

namespace {

/// At most `most` bytes of a file; false when it cannot be read.
bool readFile(const std::string& path, std::size_t most, std::string& text) {
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!file.open()) {
        return false;
    }
    text.resize(most);
    std::size_t length = 0;
    while (length < most) {
        const ssize_t got = ::read(file.get(), text.data() + length, most - length);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got < 0) {
            return false;
        }
        if (got == 0) {
            break;
        }
        length += static_cast<std::size_t>(got);
    }
    text.resize(length);
    return true;
}

template <typename Number>
bool parse(std::string_view text, Number& number) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc{} && end == text.data() + text.size();
}

bool isPid(const std::string& name) {
    return !name.empty() && name.find_first_not_of("0123456789") == std::string::npos;
}

/// What stands behind the name in a process's stat file, from the state on.
enum StatField : std::size_t {
    kState = 0,
    kParent = 1,
    kThreads = 17,
    kStart = 19,
    kResidentPages = 21,
    kStatFields = 22
};

bool splitStat(std::string_view stat, std::string_view& name, std::array<std::string_view, kStatFields>& fields) {
    // A name may hold blanks and parentheses: it ends at the last one.
    const std::size_t open = stat.find('(');
    const std::size_t close = stat.rfind(')');
    if (open == std::string_view::npos || close == std::string_view::npos || close < open) {
        return false;
    }
    name = stat.substr(open + 1, close - open - 1);
    stat.remove_prefix(close + 1);
    for (std::string_view& field : fields) {
        const std::size_t begin = stat.find_first_not_of(" \n");
        if (begin == std::string_view::npos) {
            return false;
        }
        const std::size_t end = std::min(stat.find_first_of(" \n", begin), stat.size());
        field = stat.substr(begin, end - begin);
        stat.remove_prefix(end);
    }
    return true;
}

} // namespace

ProcTable::ProcTable(std::string root)
    : root_(std::move(root)), ticks_(static_cast<unsigned long long>(std::max(::sysconf(_SC_CLK_TCK), 1L))),
      pageBytes_(static_cast<unsigned long long>(::sysconf(_SC_PAGESIZE))) {
    std::string stat;
    constexpr std::string_view label = "\nbtime ";
    if (readFile(root_ + "/stat", 1U << 20, stat)) {
        const std::size_t at = stat.find(label);
        if (at != std::string::npos) {
            const std::size_t begin = at + label.size();
            parse(std::string_view(stat).substr(begin, stat.find('\n', begin) - begin), bootTime_);
        }
    }
}

std::vector<std::string> ProcTable::read() const {
    const std::unique_ptr<DIR, int (*)(DIR*)> directory(::opendir(root_.c_str()), ::closedir);
    if (!directory) {
        throwSystemError("cannot read the directory " + root_, errno);
    }
    std::vector<std::string> values;
    std::string value;
    while (const dirent* entry = ::readdir(directory.get())) {
        const std::string name = static_cast<const char*>(entry->d_name);
        if (isPid(name) && readProcess(name, value)) {
            values.push_back(value);
        }
    }
    return values;
}

bool ProcTable::readProcess(const std::string& pid, std::string& value) const {
    std::string stat;
    std::string_view name;
    std::array<std::string_view, kStatFields> fields;
    ProcessRecord record{};
    unsigned long long start = 0;
    unsigned long long pages = 0;
    const std::string directory = root_ + "/" + pid;
    if (!readFile(directory + "/stat", 4096, stat) || !splitStat(stat, name, fields) || !parse(pid, record.pid) ||
        !parse(fields[kParent], record.parent) || !parse(fields[kThreads], record.threads) ||
        !parse(fields[kStart], start) || !parse(fields[kResidentPages], pages)) {
        return false;
    }
    record.state = fields[kState][0];
    record.resident = pages * pageBytes_;
    record.startTime = bootTime_ + start / ticks_;

    std::string command;
    if (!readFile(directory + "/cmdline", sizeof record.command, command)) {
        command.clear();
    }
    command.erase(command.find_last_not_of('\0') + 1);
    std::replace(command.begin(), command.end(), '\0', ' ');
    if (command.empty()) {
        command.append("[").append(name).append("]");
    }
    const std::size_t length = command.copy(record.command, sizeof record.command);

    value.resize(kProcessHeadSize + length);
    std::memcpy(value.data(), &record, value.size());
    return true;
}

} // namespace Halyx::Writer
