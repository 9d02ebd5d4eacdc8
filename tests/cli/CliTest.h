#pragma once

#include "fixtures/CollectionBuilder.h"
#include "fixtures/Expect.h"
#include "fixtures/Process.h"
#include "fixtures/Programs.h"
#include "fixtures/ScratchRoot.h"
#include "fixtures/Trace.h"

#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <string>
#include <vector>

/// Runs the real program on collections below a chroot of the test's own.
class CliTest : public ::testing::Test {
protected:
    using Arguments = std::vector<std::string>;

    /// Set before a run: added to the program's environment.
    std::map<std::string, std::string> environment_;

    Fixtures::Outcome halyx(const Arguments& arguments) { return prepare(arguments)->run(); }

    /// As a user without rights of root's.
    Fixtures::Outcome halyxUnprivileged(const Arguments& arguments) { return prepare(arguments)->unprivileged().run(); }

    std::unique_ptr<Fixtures::Process> prepare(const Arguments& arguments) {
        auto process = std::make_unique<Fixtures::Process>(Fixtures::Programs::halyx(), arguments);
        process->environment("Q7_CHROOT", root_.path()).keepAtMost(std::size_t{16} << 20);
        for (const auto& [name, value] : environment_) {
            process->environment(name, value);
        }
        return process;
    }

    /// Runs with every level of every handler traced into a file, and returns the records.
    std::vector<Fixtures::TraceRecord> traced(const Arguments& arguments, const std::string& setting = "*=*") {
        environment_["NORVU_TRACE"] = setting;
        environment_["NORVU_TRACE_FILE"] = root_.file("trace");
        Fixtures::expectClean(halyx(arguments));
        environment_.erase("NORVU_TRACE");
        environment_.erase("NORVU_TRACE_FILE");
        return Fixtures::exists(root_.file("trace")) ? Fixtures::parseTrace(Fixtures::readFile(root_.file("trace")))
                                                     : std::vector<Fixtures::TraceRecord>{};
    }

    /// A sound collection of 4 buckets with one number, 1, in bucket 0.
    Fixtures::Collection one(const std::string& name) {
        return Fixtures::CollectionBuilder(4, 1).fillNumbers().build(root_, name);
    }

    /// What a walk of one() prints.
    static std::string oneWalk() { return "bucket[0] 0-->0100000000000000 7fffffff --> none\n" + statistics(); }

    static std::string statistics(unsigned lookasideHits = 0, unsigned restarts = 0) {
        return "Lookaside hits: " + std::to_string(lookasideHits) + "\nChain restarts: " + std::to_string(restarts) +
               "\n";
    }

    static std::string attachError(const std::string& name) { return "Error attaching to Halyx " + name + "\n"; }

    /// Fails unless `text` holds `part`.
    static void expectPart(const std::string& text, const std::string& part) {
        EXPECT_NE(text.find(part), std::string::npos) << "missing: " << part << "\nin: " << text;
    }
    static void expectNoPart(const std::string& text, const std::string& part) {
        EXPECT_EQ(text.find(part), std::string::npos) << "unwanted: " << part << "\nin: " << text;
    }

    Fixtures::ScratchRoot root_;
};
