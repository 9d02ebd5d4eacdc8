// What grows with a collection: elements a second of the walk at several sizes, as part of those at 10 million; and the tool's own
// memory, which is what it holds at its end besides the mapped files, for a thousand elements and for the largest collection.

#include "Table.h"
#include "Topics.h"

#include <algorithm>
#include <stdexcept>

namespace Bench {

namespace {

void reportMemory(Report& report, std::uint32_t elements, const std::string& name) {
    const std::string what = "memory besides the files, " + std::to_string(elements) + " elements";
    try {
        report.row(what, anonymousKiB(halyx({name})), "KiB");
    } catch (const std::runtime_error& error) {
        report.note(what, error.what());
    }
}

} // namespace

void growth(Context& context) {
    constexpr std::uint32_t small = 1000;
    Report& report = context.report;
    const std::uint32_t base = context.settings.quick ? 20000 : 10000000;
    std::vector<std::uint32_t> sizes{base};
    for (const std::uint32_t elements : context.settings.sizes({1000000, 20000000}, {50000})) {
        if (elements != base) {
            sizes.push_back(elements);
        }
    }
    // As long as each other, so that none fits another's name.
    const auto nameOf = [](std::uint32_t elements) { return "growth" + std::to_string(10000000000 + elements); };
    report.table("Growth: static values of 8 bytes");
    std::vector<Side> sides;
    for (const std::uint32_t elements : sizes) {
        build({context.collection(nameOf(elements)), elements, 8, false});
        sides.push_back({std::to_string(elements) + " elements", halyx({nameOf(elements)})});
    }
    alternate(sides, context.settings.rounds);
    for (std::size_t i = 0; i < sides.size(); ++i) {
        report.row(sides[i].name, spreadOf(rates(sides[i], sizes[i] / 1e6)), "M elements/s");
    }
    for (std::size_t i = 1; i < sides.size(); ++i) {
        report.row(sides[i].name + " / " + sides[0].name + ", elements a second",
                   spreadOf(quotients(rates(sides[i], sizes[i]), rates(sides[0], base))), "times", "at least 0.7");
    }
    const std::uint32_t largest = *std::max_element(sizes.begin(), sizes.end());
    build({context.collection("small"), small, 8, false});
    reportMemory(report, small, "small");
    reportMemory(report, largest, nameOf(largest));
}

} // namespace Bench
