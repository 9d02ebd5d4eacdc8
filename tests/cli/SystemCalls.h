#pragma once

#include <set>
#include <string>
#include <vector>

/// What a program may ask of the system when it is to leave no trace, held against what strace saw of it. The list says what is
/// allowed: a call that is not on it counts as a trace, however harmless.
class SystemCalls {
public:
    /// Files are looked at below these directories and nowhere else, and the one file `output` is written (none when empty).
    SystemCalls(std::vector<std::string> directories, std::string output)
        : directories_(std::move(directories)), output_(std::move(output)) {}

    /// The lines of the record that tell of something else.
    std::vector<std::string> traces(const std::string& record);

private:
    struct Call {
        std::string name;
        std::string arguments;
        std::string result;
    };

    static bool parse(std::string line, Call& call);
    bool allowed(const Call& call);
    bool allowedOpen(const Call& call);
    [[nodiscard]] bool allowedPath(const std::string& arguments) const;

    std::vector<std::string> directories_;
    std::string output_;
    std::set<std::string> written_; ///< descriptors that may be written to
    unsigned programs_ = 0;
};
