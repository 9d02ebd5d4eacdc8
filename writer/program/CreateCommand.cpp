#include "writer/program/Command.h"
#include "writer/program/Encoder.h"

namespace Halyx::Writer {

namespace {

class CreateCommand : public Command {
public:
    const char* name() const override { return "create"; }
    const char* summary() const override { return "Makes an empty collection, in place of an older one of that name."; }
    const char* description() const override {
        return "Built-in types are U8 to U64, S8 to S64, the <cstdint> names, float, double, bool and char[N]. Others "
               "are\n"
               "described by C declarations in a file TYPE.h in a directory of HALYX_TYPE_PATH.\n";
    }
    std::vector<OptionDescription> options() const override {
        return {
            {"--type", "TYPE", "the type of the values; required"},
            {"--size", "BYTES", "the size of a value, of the largest when it is dynamic; default: as the type says"},
            {"--class", "NAME", "the name of the element class; default: the type"},
            {"--dynamic", "", "values live in slabs and may be of different sizes"},
            {"--buckets", "N", "buckets to begin with; default 1024"},
            {"--slots", "N", "slots to begin with; default 1024"},
            {"--max-slots", "N", "the most slots that it may ever have; default: what a file can hold"},
            {"--conquer", "", "it has notification queues"},
            {"--notifications", "N", "notifications of each queue to begin with; default 1024"},
        };
    }
    int run(const Arguments& arguments, const Stop&) const override {
        halyx::Options options;
        options.valueType = arguments.text("--type");
        if (options.valueType.empty()) {
            throw UsageError("option '--type' is required");
        }
        options.valueSize = arguments.has("--size") ? arguments.number32("--size", 0, 1)
                                                    : makeEncoder(options.valueType, {})->valueSize();
        options.classType = arguments.text("--class", options.valueType);
        options.dynamic = arguments.has("--dynamic");
        options.buckets = arguments.number32("--buckets", options.buckets, 1);
        options.slots = arguments.number32("--slots", options.slots);
        options.maxSlots = arguments.number32("--max-slots", options.maxSlots, 1);
        options.conquer = arguments.has("--conquer");
        options.notifications = arguments.number32("--notifications", options.notifications, 1);
        halyx::Writer writer = halyx::Writer::create(arguments.operands()[0], options);
        writer.publish();
        writer.close();
        printReady(arguments.operands()[0]);
        return 0;
    }
};

} // namespace

const Command& createCommand() {
    static const CreateCommand command;
    return command;
}

} // namespace Halyx::Writer
