#include "Measure.h"

#include <algorithm>
#include <fcntl.h>
#include <fstream>
#include <string>
#include <sys/utsname.h>

namespace Bench {

bool optimised() {
#if !defined(__OPTIMIZE__) || defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    std::fputs("built without optimisation or with a sanitizer: the figures would mean nothing\n", stderr);
    return false;
#else
    return true;
#endif
}

void printMachine() {
    utsname system{};
    ::uname(&system);
    std::string model = "unknown processor";
    std::ifstream lines("/proc/cpuinfo");
    for (std::string line; std::getline(lines, line);) {
        if (line.compare(0, 10, "model name") == 0) {
            model = line.substr(line.find(':') + 2);
            break;
        }
    }
    std::printf("%s, %ld processors, %s %s; %zu-bit build, " __VERSION__ "\n\n", model.c_str(),
                ::sysconf(_SC_NPROCESSORS_ONLN), system.sysname, system.release, 8 * sizeof(void*));
}

int devNull() {
    return ::open("/dev/null", O_WRONLY | O_CLOEXEC);
}

Spread spreadOf(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return {values[values.size() / 2], values.front(), values.back()};
}

void printRatio(const char* what, const std::vector<double>& tool, const std::vector<double>& bare) {
    std::vector<double> ratios;
    for (std::size_t i = 0; i < tool.size(); ++i) {
        ratios.push_back(bare[i] / tool[i]);
    }
    const Spread spread = spreadOf(ratios);
    std::printf("  %-28s %8.2f      (%.2f to %.2f)\n", what, spread.median, spread.least, spread.most);
}

} // namespace Bench
