#pragma once

#include <array>
#include <string>
#include <vector>

namespace Hostile {

/// Every way in which the tool is asked about a collection.
enum class Report { Walk, WalkEmpty, Pretty, Json, Headers, Queues, ValidQueues, Who };

struct ReportOptions {
    Report report;
    std::vector<std::string> options;
};

inline const std::array<ReportOptions, 8>& allReports() {
    static const std::array<ReportOptions, 8> reports = {{{Report::Walk, {}},
                                                          {Report::WalkEmpty, {"-e"}},
                                                          {Report::Pretty, {"-p"}},
                                                          {Report::Json, {"-j"}},
                                                          {Report::Headers, {"-x"}},
                                                          {Report::Queues, {"-q"}},
                                                          {Report::ValidQueues, {"-q", "-v"}},
                                                          {Report::Who, {"-w"}}}};
    return reports;
}

} // namespace Hostile
