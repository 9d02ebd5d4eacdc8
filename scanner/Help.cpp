#include "Help.h"

#include <iostream>

namespace Halyx {

namespace {

constexpr const char* kDescription = "Description:\n"
                                     "   halyx is a simple utility that passively walks a Halyx table,\n"
                                     "   printing the chain of elements for each bucket. It can also print\n"
                                     "   the conquer queues, the headers, or the clients of Halyx tables.\n"
                                     "\n";

constexpr const char* kUsage = "Usage:\n"
                               "   halyx [OPTIONS]\n"
                               "\n"
                               "   where OPTIONS are optional flags described below\n"
                               "   --who-all, -a       Prints per-collection info about processes that are\n"
                               "                       attached to each collection\n"
                               "   -f <FILE>           Direct output towards a file\n"
                               "   --handle, -H <PATH> Prints the trace handle for a collection path\n"
                               "\n"
                               "   halyx [OPTIONS] [EXPR]\n"
                               "\n"
                               "   where OPTIONS are optional flags described below, and EXPR is a\n"
                               "   halyx collection name, or the full path to a specific collection.\n"
                               "\n"
                               "   -e                  Enable printing of empty buckets\n"
                               "   -f <FILE>           Direct output towards a file\n"
                               "   -p                  Pretty prints of values\n"
                               "   -j                  Prints values in JSON format\n"
                               "   -q                  Print all notifications from both conquer queues\n"
                               "   -v                  Only print valid notifications. Requires -q\n"
                               "   -x                  Prints headers for the buckets, slots, and conquer\n"
                               "                       tables\n"
                               "   --who, -w           Prints info about processes that are attached to the\n"
                               "                       collection\n"
                               "\n"
                               "   --what, -c          Prints tables that have client with given PID\n"
                               "Help:\n"
                               "   --help, -h          Display this helper and exit\n"
                               "\n";

} // namespace

int displayHelp() {
    std::cout << kDescription << kUsage;
    return 0;
}

} // namespace Halyx
