#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <string>

#include "tools/resources.h"

namespace fs = std::filesystem;

constexpr int64_t MIB = 1 << 20;

// What is available where the kernel tells `files`.
static int64_t Available(const std::map<std::string, std::string> &files)
{
    const fs::path root = fs::temp_directory_path() / ("dcfsim-" + std::to_string(getpid()));
    for (const auto &[name, text] : files) {
        fs::create_directories((root / name).parent_path());
        std::ofstream(root / name) << text;
    }
    const int64_t available = AvailableMemory(root);
    fs::remove_all(root);
    return available;
}

TEST(Resources, MemoryOfMachineAndControlGroups)
{
    EXPECT_EQ(Available({}), -1);
    std::map<std::string, std::string> files = {
        {"proc/meminfo", "MemTotal: 4194304 kB\nMemAvailable:    1024000 kB\n"}};
    EXPECT_EQ(Available(files), 1000 * MIB);

    // One tree of groups: the limit is that of a group above. What it holds of files is given back.
    files["proc/self/cgroup"] = "0::/job/step\n";
    files["sys/fs/cgroup/job/step/memory.max"] = "max\n";
    files["sys/fs/cgroup/job/step/memory.current"] = "104857600\n";
    EXPECT_EQ(Available(files), 1000 * MIB);
    files["sys/fs/cgroup/job/memory.max"] = "314572800\n";
    files["sys/fs/cgroup/job/memory.current"] = "104857600\n";
    files["sys/fs/cgroup/job/memory.stat"] = "anon 1\ninactive_file 52428800\nfile 7\n";
    EXPECT_EQ(Available(files), 250 * MIB);

    // A tree for memory alone; its own path need not be mounted.
    files["proc/self/cgroup"] = "5:devices:/\n4:cpu,memory:/elsewhere\n0::/\n";
    files["sys/fs/cgroup/memory/memory.limit_in_bytes"] = "209715200\n";
    files["sys/fs/cgroup/memory/memory.usage_in_bytes"] = "104857600\n";
    EXPECT_EQ(Available(files), 100 * MIB);
    files["sys/fs/cgroup/memory/memory.usage_in_bytes"] = "309715200\n";
    EXPECT_EQ(Available(files), 0);
}

TEST(Resources, JobsThatFitIntoMemory)
{
    EXPECT_EQ(JobsThatFit(4, -1, 72), 4);
    EXPECT_EQ(JobsThatFit(4, 0, 72), 1);
    EXPECT_EQ(JobsThatFit(4, 3 * 128 * MIB - 1, 72), 2);
    EXPECT_EQ(JobsThatFit(4, 3 * 128 * MIB, 72), 3);
    EXPECT_EQ(JobsThatFit(4, 1000 * 128 * MIB, 1), 4);
    // 1000 loads in two trials take 2.4 GiB each.
    EXPECT_EQ(JobsThatFit(4, 6000 * MIB, 2000), 2);
}
