// Structures of this system's own headers, described by the very text that declares them: loaded from a line of JSON and printed
// in every style. What the compiler makes of the same declaration is the expectation for the bytes.

#include "cli/CliTest.h"
#include "fixtures/Bytes.h"

#include <dirent.h>
#include <linux/inet_diag.h>
#include <linux/stat.h>
#include <linux/tcp.h>
#include <linux/udp.h>

#include <cstring>

using namespace Fixtures;

namespace {

std::uint16_t swapped(std::uint16_t number) {
    return __builtin_bswap16(number);
}
std::uint32_t swapped(std::uint32_t number) {
    return __builtin_bswap32(number);
}

class Described : public CliTest {
protected:
    void SetUp() override { environment_["HALYX_TYPE_PATH"] = root_.path(); }

    /// Makes TYPE.h of the declarations of structures in an installed header, each from its first line to its last.
    void describe(const std::string& type, const std::string& header, const Arguments& structures) {
        std::string from;
        for (const char* const directory : {"/usr/include/", "/usr/include/x86_64-linux-gnu/"}) {
            if (exists(directory + header)) {
                from = readFile(directory + header);
                break;
            }
        }
        ASSERT_FALSE(from.empty()) << header;
        std::string text;
        for (const std::string& structure : structures) {
            std::size_t begin = from.find("\nstruct " + structure + " {\n");
            begin = begin != std::string::npos ? begin : from.find("\nstruct " + structure + "\n");
            ASSERT_NE(begin, std::string::npos) << structure;
            const std::size_t end = from.find("};\n", begin);
            ASSERT_NE(end, std::string::npos) << structure;
            text += from.substr(begin, end + 3 - begin);
        }
        writeFile(root_.file(type + ".h"), text);
    }

    Outcome writer(const Arguments& arguments, const std::string& input) {
        return Process(Programs::writer(), arguments)
            .environment("Q7_CHROOT", root_.path())
            .environment("HALYX_TYPE_PATH", root_.path())
            .input(input)
            .run();
    }

    /// Loads one line and expects the value's bytes and its text in both styles, of which JSON is the line itself.
    void expectValue(const std::string& type, const std::string& json, const std::string& bytes,
                     const std::string& pretty) {
        expectOutcome(writer({"load", "c", "--type", type, "--size", std::to_string(bytes.size()), "--format", "jsonl",
                              "--buckets", "1", "-"},
                             json + "\n"),
                      0, "ready c\n", "");
        const auto walk = [](const std::string& value) {
            return "bucket[0] 0-->" + value + " 7fffffff --> none\n" + statistics();
        };
        expectOutcome(halyx({"c"}), 0, walk(hexOf(bytes)), "");
        expectOutcome(halyx({"-p", "c"}), 0, walk(pretty), "");
        expectOutcome(halyx({"-j", "c"}), 0, walk(json), "");
    }
};

TEST_F(Described, AUdpHeader) {
    describe("udphdr", "linux/udp.h", {"udphdr"});
    struct udphdr value {};
    value.source = swapped(std::uint16_t{53});
    value.dest = swapped(std::uint16_t{40000});
    value.len = swapped(std::uint16_t{512});
    value.check = 4660;
    expectValue("udphdr", R"({"source":53,"dest":40000,"len":512,"check":4660})", bytesOf(value),
                "udphdr{ source: 53 dest: 40000 len: 512 check: 4660 }");
}

TEST_F(Described, ATcpConnectionsStateWithBitFields) {
    describe("tcp_info", "linux/tcp.h", {"tcp_info"});
    struct tcp_info value {};
    value.tcpi_state = 1;
    value.tcpi_snd_wscale = 7;
    value.tcpi_rcv_wscale = 9;
    value.tcpi_delivery_rate_app_limited = 1;
    value.tcpi_fastopen_client_fail = 2;
    value.tcpi_rto = 204000;
    value.tcpi_pmtu = 65535;
    value.tcpi_pacing_rate = 18446744073709551615U;
    value.tcpi_bytes_acked = 1234567890123;
    // Its fields are many and grow from release to release: those that are not zero tell.
    const std::string json = R"({"tcpi_state":1,"tcpi_snd_wscale":7,"tcpi_rcv_wscale":9,)"
                             R"("tcpi_delivery_rate_app_limited":1,"tcpi_fastopen_client_fail":2,"tcpi_rto":204000,)"
                             R"("tcpi_pmtu":65535,"tcpi_pacing_rate":18446744073709551615,)"
                             R"("tcpi_bytes_acked":1234567890123})";
    expectOutcome(
        writer({"load", "c", "--type", "tcp_info", "--size", std::to_string(sizeof value), "--format", "jsonl", "-"},
               json + "\n"),
        0, "ready c\n", "");
    expectPart(halyx({"c"}).out, "-->" + hexOf(bytesOf(value)) + " 7fffffff");
    const std::string pretty = halyx({"-p", "c"}).out;
    expectPart(pretty, "-->tcp_info{ tcpi_state: 1 tcpi_ca_state: 0 ");
    expectPart(pretty, " tcpi_snd_wscale: 7 tcpi_rcv_wscale: 9 tcpi_delivery_rate_app_limited: 1 "
                       "tcpi_fastopen_client_fail: 2 tcpi_rto: 204000 tcpi_ato: 0 ");
    expectPart(pretty, " tcpi_pmtu: 65535 ");
    expectPart(pretty, " tcpi_pacing_rate: 18446744073709551615 ");
    expectPart(halyx({"-j", "c"}).out, ",\"tcpi_bytes_acked\":1234567890123,");
}

TEST_F(Described, ASocketsDiagnosisWithAStructureInside) {
    describe("inet_diag_msg", "linux/inet_diag.h", {"inet_diag_sockid", "inet_diag_msg"});
    struct inet_diag_msg value {};
    value.idiag_family = 2;
    value.idiag_state = 10;
    value.id.idiag_sport = swapped(std::uint16_t{443});
    value.id.idiag_dport = swapped(std::uint16_t{50000});
    value.id.idiag_src[0] = swapped(0x7f000001U);
    value.id.idiag_dst[3] = swapped(5U);
    value.id.idiag_if = 3;
    value.id.idiag_cookie[1] = 4000000000U;
    value.idiag_uid = 1000;
    value.idiag_inode = 98765;
    expectValue(
        "inet_diag_msg",
        R"({"idiag_family":2,"idiag_state":10,"idiag_timer":0,"idiag_retrans":0,"id":{"idiag_sport":443,)"
        R"("idiag_dport":50000,"idiag_src":[2130706433,0,0,0],"idiag_dst":[0,0,0,5],"idiag_if":3,)"
        R"("idiag_cookie":[0,4000000000]},"idiag_expires":0,"idiag_rqueue":0,"idiag_wqueue":0,)"
        R"("idiag_uid":1000,"idiag_inode":98765})",
        bytesOf(value),
        "inet_diag_msg{ idiag_family: 2 idiag_state: 10 idiag_timer: 0 idiag_retrans: 0 id: inet_diag_sockid{ "
        "idiag_sport: 443 idiag_dport: 50000 idiag_src: [ 2130706433 0 0 0 ] idiag_dst: [ 0 0 0 5 ] idiag_if: 3 "
        "idiag_cookie: [ 0 4000000000 ] } idiag_expires: 0 idiag_rqueue: 0 idiag_wqueue: 0 idiag_uid: 1000 "
        "idiag_inode: 98765 }");
}

TEST_F(Described, AFilesStatusWithTimes) {
    describe("statx", "linux/stat.h", {"statx_timestamp", "statx"});
    struct statx value {};
    value.stx_mask = 0xfff;
    value.stx_mode = 0100644;
    value.stx_size = 1ULL << 40;
    value.stx_mtime.tv_sec = -1;
    value.stx_mtime.tv_nsec = 999999999;
    value.stx_dev_minor = 7;
    expectOutcome(writer({"load", "c", "--type", "statx", "--format", "jsonl", "-"},
                         R"({"stx_mask":4095,"stx_mode":33188,"stx_size":1099511627776,)"
                         R"("stx_mtime":{"tv_sec":-1,"tv_nsec":999999999},"stx_dev_minor":7})"
                         "\n"),
                  0, "ready c\n", "");
    expectPart(halyx({"c"}).out, "-->" + hexOf(bytesOf(value)) + " 7fffffff");
    const std::string pretty = halyx({"-p", "c"}).out;
    expectPart(pretty, "-->statx{ stx_mask: 4095 stx_blksize: 0 stx_attributes: 0 stx_nlink: 0 stx_uid: 0 stx_gid: 0 "
                       "stx_mode: 33188 __spare0: [ 0 ] stx_ino: 0 stx_size: 1099511627776 ");
    expectPart(pretty, " stx_mtime: statx_timestamp{ tv_sec: -1 tv_nsec: 999999999 __reserved: 0 } ");
    expectPart(halyx({"-j", "c"}).out, ",\"stx_mtime\":{\"tv_sec\":-1,\"tv_nsec\":999999999,\"__reserved\":0},");
}

TEST_F(Described, ADirectorysEntry) {
    describe("dirent64", "bits/dirent.h", {"dirent64"});
    struct dirent64 value {};
    value.d_ino = 1234567890123;
    value.d_off = -1;
    value.d_reclen = 32;
    value.d_type = 8;
    std::strcpy(value.d_name, "a \"file\"");
    expectValue("dirent64", R"({"d_ino":1234567890123,"d_off":-1,"d_reclen":32,"d_type":8,"d_name":"a \"file\""})",
                bytesOf(value),
                "dirent64{ d_ino: 1234567890123 d_off: -1 d_reclen: 32 d_type: 8 d_name: \"a \\\"file\\\"\" }");
}

TEST_F(Described, ATableOfCommaSeparatedValuesNeedsOneFileAndOneCommand) {
    writeFile(root_.file("Point.h"), "struct Point { short x, y; char label[8]; };\n");
    expectOutcome(writer({"load", "c", "--type", "Point", "--buckets", "1", "-"}, "id,x,y,label\np,1,-2,\"a,b\"\n"), 0,
                  "ready c\n", "");
    expectOutcome(halyx({"-p", "c"}), 0,
                  "bucket[0] 0-->Point{ x: 1 y: -2 label: \"a,b\" } 7fffffff --> none\n" + statistics(), "");
    expectOutcome(writer({"create", "d", "--type", "Point"}, ""), 0, "ready d\n", "");
    expectPart(halyx({"-x", "d"}).out, "\tValue type: 12 bytes \"Point\"\n");
    expectOutcome(writer({"load", "c", "--type", "Point", "-"}, "id,x,z\np,1,2\n"), 1, "",
                  "halyx-writer: standard input:2: there is no field 'z' in Point\n");
}

/// What stands in a text between one string and the next `end` behind it.
std::string between(const std::string& text, const std::string& begin, const std::string& end) {
    const std::size_t from = text.find(begin);
    const std::size_t to = from == std::string::npos ? from : text.find(end, from + begin.size());
    EXPECT_NE(to, std::string::npos) << begin;
    return to == std::string::npos ? "" : text.substr(from + begin.size(), to - from - begin.size());
}

TEST_F(Described, TheExampleOfTheDocumentationComesOutAsItStandsThere) {
    const std::string page = readFile(HALYX_SOURCE_DIR "/docs/types.md");
    writeFile(root_.file("Service.h"), between(page, "```c\n", "```"));
    writeFile(root_.file("services.csv"), between(page, "$ cat services.csv\n", "$ "));
    expectOutcome(writer({"load", "services", root_.file("services.csv"), "--type", "Service"}, ""), 0,
                  between(page, "halyx-writer load services services.csv --type Service\n", "```"), "");
    expectOutcome(halyx({"-p", "services"}), 0, between(page, "halyx -p services\n", "$ "), "");
    expectOutcome(halyx({"-j", "services"}), 0, between(page, "halyx -j services\n", "```"), "");
}

} // namespace
