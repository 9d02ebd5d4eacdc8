#include "writer/program/RecordReader.h"

#include "Norvu/Exception.h"
#include "fixtures/ScratchRoot.h"
#include "writer/program/Stop.h"

#include <csignal>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

using namespace Halyx::Writer;

using Maker = std::unique_ptr<RecordReader> (*)(Input&);

/// All records as "name=text;name=text", each with its kind's letter; then "!LINE: reason" when a line is bad.
std::vector<std::string> readAll(Maker maker, const std::string& text) {
    const Fixtures::ScratchRoot root;
    const std::string path = root.file("input");
    Fixtures::writeFile(path, text);
    const Stop stop;
    Input input(path, stop);
    const auto reader = maker(input);
    std::vector<std::string> lines;
    Record record;
    try {
        while (reader->next(record)) {
            std::string line;
            for (std::size_t i = 0; i < record.fields.size(); ++i) {
                line += (i == 0 ? "" : ";") + record.names.at(i) + "=" +
                        "TNBXE"[static_cast<std::size_t>(record.fields[i].kind)] + record.fields[i].text;
            }
            lines.push_back(line);
        }
    } catch (const BadLine& bad) {
        lines.push_back("!" + std::to_string(reader->line()) + ": " + bad.what());
    }
    return lines;
}

using Lines = std::vector<std::string>;

Lines csv(const std::string& text) {
    return readAll(makeCsvReader, text);
}
Lines json(const std::string& text) {
    return readAll(makeJsonLinesReader, text);
}
/// What is wrong with one line of JSON.
std::string jsonFault(const std::string& text) {
    const Lines lines = json(text);
    return lines.empty() ? std::string() : lines.back();
}

TEST(CsvReaderTest, FieldsAreNamedByTheHeader) {
    EXPECT_EQ(csv("a,b\n1,2\n3,4\n"), (Lines{"a=T1;b=T2", "a=T3;b=T4"}));
    EXPECT_EQ(csv("a,b\r\n1,2\r\n\r\n3,4"), (Lines{"a=T1;b=T2", "a=T3;b=T4"}));
    EXPECT_EQ(csv("\xef\xbb\xbf"
                  "a\n1\n"),
              (Lines{"a=T1"}));
    EXPECT_EQ(csv("a,b\n,\n"), (Lines{"a=T;b=T"}));
    EXPECT_EQ(csv("a\n"), Lines{});
}

TEST(CsvReaderTest, QuotedFieldsHoldAnything) {
    EXPECT_EQ(csv("a,b\n\"x,\"\"y\"\"\",\"two\nlines\"\n\"\",z\n"), (Lines{"a=Tx,\"y\";b=Ttwo\nlines", "a=T;b=Tz"}));
    EXPECT_EQ(csv("\"a,1\",b\n1,2"), (Lines{"a,1=T1;b=T2"}));
}

TEST(CsvReaderTest, BadLinesAreNamed) {
    EXPECT_EQ(csv(""), (Lines{"!1: there is no header line"}));
    EXPECT_EQ(csv("a,b\n1,2\n1\n"), (Lines{"a=T1;b=T2", "!3: has 1 fields, the header 2"}));
    EXPECT_EQ(csv("a,b\n1,2,3\n"), (Lines{"!2: has 3 fields, the header 2"}));
    EXPECT_EQ(csv("a,a\n"), (Lines{"!1: two columns have the name 'a'"}));
    EXPECT_EQ(csv("a,\n"), (Lines{"!1: column 2 has no name"}));
    EXPECT_EQ(csv("a\nx\"y\n"), (Lines{"!2: a quote in a field that does not begin with one"}));
    EXPECT_EQ(csv("a\n\n\"x\"y\n"), (Lines{"!3: text behind the closing quote of a field"}));
    EXPECT_EQ(csv("a\n\"x\n\n"), (Lines{"!2: a quote that is not closed"}));
    EXPECT_EQ(csv("a\nx\ry\n"), (Lines{"!2: a carriage return that does not end the line"}));
}

TEST(JsonLinesReaderTest, ValuesHaveKinds) {
    EXPECT_EQ(json("{\"a\":\"x\",\"b\": -1.5e+3 ,\"c\":true,\"d\":false,\"e\":null}\n\n {} \r\n{\"a\":0}"),
              (Lines{"a=Tx;b=N-1.5e+3;c=Btrue;d=Bfalse;e=X", "", "a=N0"}));
    EXPECT_EQ(json(""), Lines{});
}

TEST(JsonLinesReaderTest, EscapesAreResolved) {
    EXPECT_EQ(json(R"({"a":"\"\\\/\b\f\n\r\t\u0041\u00e4\u20ac\ud83d\ude00"})"),
              (Lines{"a=T\"\\/\b\f\n\r\tA\xc3\xa4\xe2\x82\xac\xf0\x9f\x98\x80"}));
    EXPECT_EQ(json("{\"\\u0061\":\"\xc3\xa4\"}"), (Lines{"a=T\xc3\xa4"}));
}

TEST(JsonLinesReaderTest, WhatIsNestedIsNamedByItsWay) {
    EXPECT_EQ(json(R"({"a":{"b":1,"c":{"d":"x"}},"e":[1,[2,{"f":3}]]})"),
              (Lines{"a.b=N1;a.c.d=Tx;e[0]=N1;e[1][0]=N2;e[1][1].f=N3"}));
    EXPECT_EQ(json(R"({"a":{},"b":[ ],"c":[{}]})"), (Lines{"a=E;b=E;c[0]=E"}));
    EXPECT_EQ(jsonFault(R"({"a":{"b":1},"a.b":2})"), "!1: the name 'a.b' appears twice");
    EXPECT_EQ(jsonFault("{\"a\":" + std::string(100, '[')), "!1: nested more than 64 deep");
}

TEST(JsonLinesReaderTest, LongWaysOfManyValuesAreNoReasonToTakeAllMemory) {
    const std::string name(1U << 20, 'n');
    std::string line = "{\"" + name + "\":[0";
    for (int i = 0; i < 1000; ++i) {
        line += ",0";
    }
    EXPECT_EQ(jsonFault(line + "]}"), "!1: names of more than 67108864 bytes");
}

TEST(JsonLinesReaderTest, BadLinesAreNamed) {
    EXPECT_EQ(json("{}\n[]\n"), (Lines{"", "!2: expected an object at byte 1"}));
    EXPECT_EQ(jsonFault("{\"a\":1}x"), "!1: expected nothing behind the object at byte 8");
    EXPECT_EQ(jsonFault("{\"a\":1"), "!1: expected ',' or '}' at byte 7");
    EXPECT_EQ(jsonFault("{\"a\":1,}"), "!1: expected a name in double quotes at byte 8");
    EXPECT_EQ(jsonFault("{a:1}"), "!1: expected a name in double quotes at byte 2");
    EXPECT_EQ(jsonFault("{\"a\" 1}"), "!1: expected ':' at byte 6");
    EXPECT_EQ(jsonFault("{\"a\":[1}"), "!1: expected ',' or ']' at byte 8");
    EXPECT_EQ(jsonFault("{\"a\":[1,]}"), "!1: expected a value at byte 9");
    EXPECT_EQ(jsonFault("{\"a\":{1:2}}"), "!1: expected a name in double quotes at byte 7");
    EXPECT_EQ(jsonFault("{\"a\":tru}"), "!1: expected a value at byte 6");
    EXPECT_EQ(jsonFault("{\"a\":}"), "!1: expected a value at byte 6");
    EXPECT_EQ(jsonFault("{\"a\":01}"), "!1: expected ',' or '}' at byte 7");
    EXPECT_EQ(jsonFault("{\"a\":1.}"), "!1: expected a digit at byte 8");
    EXPECT_EQ(jsonFault("{\"a\":-}"), "!1: expected a digit at byte 7");
    EXPECT_EQ(jsonFault("{\"a\":1e}"), "!1: expected a digit at byte 8");
    EXPECT_EQ(jsonFault("{\"a\":\"x}"), "!1: expected a closing quote at byte 9");
    EXPECT_EQ(jsonFault("{\"a\":\"\\x\"}"), "!1: expected an escape at byte 8");
    EXPECT_EQ(jsonFault("{\"a\":\"\\u12g4\"}"), "!1: expected four hexadecimal digits at byte 11");
    EXPECT_EQ(jsonFault("{\"a\":\"\\ud800x\"}"), "!1: expected both halves of a surrogate pair at byte 13");
    EXPECT_EQ(jsonFault("{\"a\":\"\\udc00\"}"), "!1: expected both halves of a surrogate pair at byte 13");
    EXPECT_EQ(jsonFault("{\"a\":\"\t\"}"), "!1: expected an escape for a control character at byte 7");
    EXPECT_EQ(jsonFault("{\"a\":1,\"a\":2}"), "!1: the name 'a' appears twice");
    EXPECT_EQ(jsonFault(std::string("{\"a\":1}\0", 8)), "!1: expected nothing behind the object at byte 8");
}

TEST(InputTest, AStopEndsTheWaitingForInput) {
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    const Stop stop;
    Input input("/proc/self/fd/" + std::to_string(ends[0]), stop);
    ::raise(SIGTERM);
    EXPECT_TRUE(stop.requested());
    EXPECT_THROW(input.get(), Norvu::RuntimeException);
    EXPECT_TRUE(stop.wait(60));
    ::close(ends[0]);
    ::close(ends[1]);
}

TEST(InputTest, AMissingFileIsAnError) {
    const Stop stop;
    EXPECT_THROW(Input("/no/such/file", stop), Norvu::RuntimeException);
}

} // namespace
