#include "writer/ProcessRecord.h"
#include "writer/program/Command.h"
#include "writer/program/ProcTable.h"
#include "writer/program/Stop.h"

#include <algorithm>
#include <chrono>
#include <set>

namespace Halyx::Writer {

namespace {

/// A process's key: the 4 bytes of its id, which are its value's first.
std::string_view processKeyOf(std::string_view value) {
    return value.substr(0, sizeof ProcessRecord::pid);
}

/// Makes the collection's elements those of the table.
void mirror(const ProcTable& table, halyx::Writer& writer) {
    std::set<std::string, std::less<>> gone;
    writer.forEach([&](std::string_view value) { gone.emplace(processKeyOf(value)); });
    for (const std::string& value : table.read()) {
        const std::string_view key = processKeyOf(value);
        gone.erase(std::string(key));
        const std::optional<std::string_view> known = writer.find(key);
        if (!known || *known != value) {
            writer.put(key, value);
        }
    }
    for (const std::string& key : gone) {
        writer.erase(key);
    }
}

class MirrorProcCommand : public Command {
public:
    const char* name() const override { return "mirror-proc"; }
    const char* summary() const override { return "Keeps a live copy of this machine's process table."; }
    const char* description() const override {
        return "An element is a process, a dynamic value of type ProcessRecord: pid, parent, state, threads, resident "
               "bytes, start\n"
               "time and command; halyx-writer(1) says where.\n";
    }
    std::vector<OptionDescription> options() const override {
        return {
            {"--interval", "S", "seconds from one look at the processes to the next, at least 0.01; default 1"},
            {"--seconds", "S", "how long; default: until stopped"},
            {"--root", "DIRECTORY", "where the process table is; default /proc"},
            {"--conquer", "", "with notification queues"},
        };
    }
    int run(const Arguments& arguments, const Stop& stop) const override {
        constexpr double shortestInterval = 0.01;
        const double interval = std::max(arguments.seconds("--interval", 1), shortestInterval);
        const double seconds = arguments.seconds("--seconds", -1);
        const ProcTable table(arguments.text("--root", "/proc"));

        halyx::Options options;
        options.valueType = kProcessType;
        options.classType = "Process";
        options.valueSize = sizeof(ProcessRecord);
        options.dynamic = true;
        options.conquer = arguments.has("--conquer");
        options.buckets = 64;
        options.slots = 64;
        // Commands differ in length more than values of other kinds do.
        options.slabPayloads = {48, 80, 112, sizeof(ProcessRecord)};
        options.keyOf = processKeyOf;
        halyx::Writer writer = halyx::Writer::create(arguments.operands()[0], options);
        mirror(table, writer);
        writer.publish();
        printReady(arguments.operands()[0]);

        using Clock = std::chrono::steady_clock;
        const Clock::time_point begin = Clock::now();
        for (;;) {
            double pause = interval;
            if (seconds >= 0) {
                const double left = seconds - std::chrono::duration<double>(Clock::now() - begin).count();
                if (left <= 0) {
                    break;
                }
                pause = std::min(pause, left);
            }
            if (stop.wait(pause)) {
                break;
            }
            mirror(table, writer);
        }
        writer.close();
        return 0;
    }
};

} // namespace

const Command& mirrorProcCommand() {
    static const MirrorProcCommand command;
    return command;
}

} // namespace Halyx::Writer
