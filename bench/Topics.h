#pragma once

#include "Report.h"
#include "Settings.h"

#include <string>

namespace Bench {

/// What a topic works with. `root` is a directory of its own, and the chroot of the tool; all of it is removed behind the topic.
struct Context {
    const Settings& settings;
    Report& report;
    std::string root;

    [[nodiscard]] std::string collectionsRoot() const { return root + "/var/shmem/halyxes"; }
    [[nodiscard]] std::string collection(const std::string& name) const { return collectionsRoot() + "/" + name; }
};

// Each says at the head of its file what it measures.
void walk(Context& context);
void values(Context& context);
void growth(Context& context);
void queues(Context& context);
void clients(Context& context);
void lookUp(Context& context);
void startUp(Context& context);
void beside(Context& context);

} // namespace Bench
