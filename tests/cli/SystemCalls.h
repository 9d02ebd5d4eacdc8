#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

/// What a program may ask of the system when it is to leave no trace, held against what strace saw of it. The list says what is
/// allowed: a call that is not on it counts as a trace, however harmless.
class SystemCalls {
public:
    /// What is looked at are these files and directories and what is below them, and nothing else; the one file `output` is
    /// written, and the one file `appended` is added to (none when empty).
    SystemCalls(std::vector<std::string> places, std::string output, std::string appended = {})
        : places_(std::move(places)), output_(std::move(output)), appended_(std::move(appended)) {}

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
    bool allowedClose(const std::string& descriptor);
    [[nodiscard]] bool pathOf(const Call& call, std::string& path) const;
    [[nodiscard]] bool allowedLook(const Call& call) const;
    [[nodiscard]] bool inPlace(const std::string& path) const;
    [[nodiscard]] bool isOpen(const std::string& descriptor) const;

    std::vector<std::string> places_;
    std::string output_;
    std::string appended_;
    std::map<std::string, std::string> opened_; ///< descriptors that are read from, and what they are of
    std::set<std::string> written_;             ///< descriptors that may be written to
    unsigned programs_ = 0;
};
