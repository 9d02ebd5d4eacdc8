#include "Norvu/Exception.h"
#include "writer/program/Command.h"
#include "writer/program/Encoder.h"
#include "writer/program/RecordReader.h"
#include "writer/program/Stop.h"

namespace Halyx::Writer {

namespace {

class LoadCommand : public Command {
public:
    const char* name() const override { return "load"; }
    const char* operands() const override { return "COLLECTION [FILE]"; }
    std::size_t mostOperands() const override { return 2; }
    const char* summary() const override { return "Makes a collection of the records in a file or on standard input."; }
    const char* description() const override {
        return "CSV has a header line that names the columns; JSON lines are one object a line. Types are U8 to U64, "
               "S8 to\n"
               "S64, the <cstdint> names, float, double, bool, char[N], and structures that C declarations describe in "
               "a\n"
               "file TYPE.h in a directory of HALYX_TYPE_PATH. A structure's columns are named after its fields, and "
               "what\n"
               "is inside of others by its way: point.x, rows[1][0]; fields without a column are 0. Of several records "
               "with\n"
               "one key the last stays. A bad line is an error, and the collection is put in place only when all lines "
               "are\n"
               "good.\n";
    }
    std::vector<OptionDescription> options() const override {
        return {
            {"--type", "TYPE", "the type of the values; required"},
            {"--size", "BYTES", "of a described value: of its 64-bit or its 32-bit layout; default: the former"},
            {"--format", "csv|jsonl", "default: jsonl for a file named *.jsonl, *.ndjson or *.json, else csv"},
            {"--key", "COLUMN", "the column that is the key; default: the first"},
            {"--value", "COLUMN",
             "the column that is the value; default: the one beside the key, or all: as fields, for char[N] joined by "
             "blanks"},
            {"--class", "NAME", "the name of the element class; default: the type"},
            {"--dynamic", "", "values live in slabs, text as long as it is"},
            {"--buckets", "N", "buckets to begin with; default 64"},
            {"--slots", "N", "slots to begin with; default 64"},
            {"--max-slots", "N", "the most slots that it may ever have; default: what a file can hold"},
            {"--conquer", "", "it has notification queues"},
            {"--stay", "", "stay as the collection's writer until stopped"},
            {"--seconds", "S", "stay no longer than that"},
        };
    }
    int run(const Arguments& arguments, const Stop& stop) const override {
        const std::string& name = arguments.operands()[0];
        const std::string file = arguments.operands().size() > 1 ? arguments.operands()[1] : std::string();
        const std::string key = arguments.text("--key");
        const double seconds = arguments.seconds("--seconds", -1);
        if (seconds >= 0 && !arguments.has("--stay")) {
            throw UsageError("option '--seconds' goes with '--stay'");
        }

        halyx::Options options;
        options.valueType = arguments.text("--type");
        if (options.valueType.empty()) {
            throw UsageError("option '--type' is required");
        }
        const std::unique_ptr<Encoder> encoder =
            makeEncoder(options.valueType, {key, arguments.text("--value")},
                        arguments.has("--size") ? std::optional(arguments.number32("--size", 0, 1)) : std::nullopt);
        options.valueSize = encoder->valueSize();
        options.classType = arguments.text("--class", options.valueType);
        options.dynamic = arguments.has("--dynamic");
        options.buckets = arguments.number32("--buckets", 64, 1);
        options.slots = arguments.number32("--slots", 64);
        options.maxSlots = arguments.number32("--max-slots", 0, 1);
        options.conquer = arguments.has("--conquer");
        const bool json = isJson(arguments.text("--format"), file);

        Input input(file == "-" ? std::string() : file, stop);
        halyx::Writer writer = halyx::Writer::create(name, options);
        load(input, *(json ? makeJsonLinesReader(input) : makeCsvReader(input)), key, *encoder, writer);
        writer.publish();
        printReady(name);
        if (arguments.has("--stay")) {
            stop.wait(seconds);
        }
        writer.close();
        return 0;
    }

private:
    static bool endsWith(const std::string& text, const std::string& end) {
        return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
    }

    static bool isJson(const std::string& format, const std::string& file) {
        if (!format.empty() && format != "csv" && format != "jsonl") {
            throw UsageError("option '--format' needs csv or jsonl, not '" + format + "'");
        }
        return format.empty() ? endsWith(file, ".jsonl") || endsWith(file, ".ndjson") || endsWith(file, ".json")
                              : format == "jsonl";
    }

    static void load(Input& input, RecordReader& reader, const std::string& key, Encoder& encoder,
                     halyx::Writer& writer) {
        Record record;
        std::string bytes;
        try {
            while (reader.next(record)) {
                const std::size_t column = key.empty() ? 0 : record.find(key);
                if (column >= record.fields.size()) {
                    throw BadLine("there is no column " + (key.empty() ? "for the key" : "'" + key + "'"));
                }
                if (record.fields[column].kind == Record::Kind::Null) {
                    throw BadLine("the key is null");
                }
                encoder.encode(record, writer.options().dynamic, bytes);
                writer.put(record.fields[column].text, bytes);
            }
        } catch (const BadLine& bad) {
            throw Norvu::RuntimeException(input.name() + ":" + std::to_string(reader.line()) + ": " + bad.what());
        }
    }
};

} // namespace

const Command& loadCommand() {
    static const LoadCommand command;
    return command;
}

} // namespace Halyx::Writer
