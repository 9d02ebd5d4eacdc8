#include "HalyxScanner.h"
#include "Norvu/Text.h"

#include <cstdio>
#include <exception>
#include <string>

namespace {

int complain(const std::string& text) {
    std::fflush(stdout);
    std::fputs(("halyx: " + Norvu::safeText(text) + "\n").c_str(), stderr);
    return 1;
}

} // namespace

/// Hands the arguments to the library and its result to the system. Whatever leaves the library becomes one line.
int main(int argc, char** argv) {
    try {
        return Halyx::main(argc, argv);
    } catch (const std::exception& error) {
        return complain(error.what());
    } catch (...) {
        return complain("unknown exception");
    }
}
