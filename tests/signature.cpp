#include "tests/signature.h"

#include <fcntl.h>
#include <unistd.h>

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string_view>

#include "driver/program.h"
#include "driver/state.h"
#include "driver/tick.h"
#include "output/files.h"
#include "topology/random.h"

namespace fs = std::filesystem;

static std::string ReadFile(const fs::path &path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

RUN RunProgramIn(const std::string &dir)
{
    const fs::path before = fs::current_path();
    const std::string path = dir + "/output";
    std::fflush(stdout);
    const int terminal = dup(STDOUT_FILENO);
    const int file = open(path.c_str(), O_CREAT | O_WRONLY | O_TRUNC, 0600);
    dup2(file, STDOUT_FILENO);
    close(file);
    fs::current_path(dir);
    FreeState(); // what a test of the model has left
    const int status = RunProgram();
    fs::current_path(before);
    std::fflush(stdout);
    dup2(terminal, STDOUT_FILENO);
    close(terminal);
    return {status, ReadFile(path)};
}

std::string MakeScratchDirectory()
{
    std::string dir = fs::temp_directory_path() / "dcfsim-XXXXXX";
    if (mkdtemp(dir.data()) == nullptr) {
        std::perror(dir.c_str());
        std::exit(1);
    }
    return dir;
}

// FNV-1a, 64 bits.
constexpr uint64_t HASH_BEGIN = 0xCBF29CE484222325;

static void Hash(uint64_t &hash, std::string_view bytes)
{
    constexpr uint64_t PRIME = 0x100000001B3;
    for (const char byte : bytes) {
        hash = (hash ^ static_cast<unsigned char>(byte)) * PRIME;
    }
}

static std::string HashText(uint64_t hash)
{
    char text[17];
    std::snprintf(text, sizeof text, "%016" PRIx64, hash);
    return text;
}

static bool IsReproducible(const std::string &line)
{
    return !line.starts_with("NODEの") && !line.starts_with("RESULTの") &&
           line.find(" time : ") == std::string::npos;
}

SIGNATURE Signature(bool plain, GENERATOR generator)
{
    g_plain_ticking = plain;
    g_settings = {};
    g_settings.generator = generator;
    g_settings.sim_ticks = 400'000;
    g_settings.window_begin = 100'000;
    g_settings.window_end = 400'000;
    g_settings.load_num = 8;
    for (int32_t i = 0; i < g_settings.load_num; ++i) {
        g_settings.load_list[i] = 5000 * i;
    }
    g_clock = [] { return int64_t{1'700'000'000}; };
    const std::string dir = MakeScratchDirectory();
    std::istringstream output(RunProgramIn(dir).output);

    std::string printed;
    for (std::string line; std::getline(output, line);) {
        printed += IsReproducible(line) ? line + "\n" : "";
    }
    SIGNATURE signature;
    uint64_t total = HASH_BEGIN;
    Hash(total, printed);
    const auto add = [&signature](const char *name, std::string_view content) {
        uint64_t hash = HASH_BEGIN;
        Hash(hash, content);
        signature.parts += HashText(hash) + "  " + name + "\n";
    };
    add("standard output", printed);
#define FILE_NAME(stream, name) name,
    for (const char *name : {RESULT_FILES(FILE_NAME)}) {
        const std::string content = ReadFile(fs::path(dir) / "result/10node_design/1500" / name);
        Hash(total, name);
        Hash(total, content);
        add(name, content);
    }
#undef FILE_NAME
    fs::remove_all(dir);
    signature.total = HashText(total);
    return signature;
}
