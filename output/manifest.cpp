#include "output/manifest.h"

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>

#include <unistd.h>

#include "driver/settings.h"
#include "output/settings_json.h"
#include "output/version.h"

using STEADY = std::chrono::steady_clock;

static std::string g_path; // of the manifest begun last, empty if there is none
static std::string g_head; // what stands in it at the beginning and the end of the run
static STEADY::time_point g_begin;

static std::string TimeText(time_t time)
{
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", std::gmtime(&time));
    return text;
}

static std::string Member(const char *key, const std::string &value)
{
    std::string line = "    \"";
    return line.append(key).append("\": \"").append(value).append("\",\n");
}

// The generator, and which of its streams where there is a choice.
static std::string Generator(const SETTINGS &settings)
{
    std::string lines = Member("generator", GENERATOR_NAMES[settings.generator]);
    if (settings.generator == GENERATOR_MERSENNE) {
        lines += "    \"replication\": " + std::to_string(settings.replication) + ",\n";
    }
    return lines;
}

// Puts `text` at `path` as a whole or not at all.
static std::string Replace(const std::string &path, const std::string &text)
{
    const std::string partial = path + "." + std::to_string(getpid());
    FILE *file = std::fopen(partial.c_str(), "w");
    bool is_written = false;
    if (file != nullptr) {
        is_written = std::fwrite(text.data(), 1, text.size(), file) == text.size() &&
                     std::fflush(file) == 0 && fsync(fileno(file)) == 0;
        is_written = std::fclose(file) == 0 && is_written;
    }
    if (is_written && std::rename(partial.c_str(), path.c_str()) == 0) {
        return "";
    }
    std::string why = path + ": cannot be written: " + std::strerror(errno);
    std::remove(partial.c_str());
    return why;
}

// What the reader of the results has to know, a line each.
static std::string Warnings(const std::vector<std::string> &warnings)
{
    std::string list;
    for (const std::string &warning : warnings) {
        list.append(list.empty() ? "\n        " : ",\n        ").append(JsonText(warning));
    }
    std::string member = "    \"warnings\": [";
    return list.empty() ? list : member.append(list).append("\n    ],\n");
}

std::string BeginManifest(const std::string &path, const std::string &program,
                          const std::vector<std::string> &warnings)
{
    g_begin = STEADY::now();
    g_head = "{\n" + Member("program", program) + Member("version", ProgramVersion()) +
             Member("commit", ProgramCommit()) + Member("compiler", ProgramCompiler()) +
             Member("start_time", TimeText(std::time(nullptr))) + Generator(g_settings) +
             "    \"experiment\": " + SettingsAsJson(g_settings, 4) + ",\n" + Warnings(warnings);
    // What cannot be replaced must not speak for the new results.
    std::remove(path.c_str());
    std::string why = Replace(path, g_head + "    \"complete\": false\n}\n");
    g_path = why.empty() ? path : "";
    return why;
}

std::string EndManifest(bool complete, const std::string &members)
{
    if (g_path.empty()) {
        return "";
    }
    const double seconds = std::chrono::duration<double>(STEADY::now() - g_begin).count();
    char time[64];
    std::snprintf(time, sizeof time, "    \"wall_time_s\": %.3f,\n", seconds);
    const std::string path = g_path;
    g_path = "";
    return Replace(path, g_head + time + members +
                             "    \"complete\": " + (complete ? "true" : "false") + "\n}\n");
}
