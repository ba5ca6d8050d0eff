// What the tools with options share: how a command line is read and how a failure is told.
#pragma once

#include <cstdio>
#include <exception>
#include <optional>
#include <string>

#include <CLI/CLI.hpp>

#include "output/version.h"

constexpr int STATUS_FAILED = 1;
constexpr int STATUS_USAGE = 2;

// Prints one line on standard error, headed by the program's name, and returns STATUS_FAILED.
inline int Fail(const std::string &program, const std::string &why)
{
    std::fprintf(stderr, "%s: %s\n", program.c_str(), why.c_str());
    return STATUS_FAILED;
}

// Runs the program's body; an exception that escapes it is a failure.
template <typename BODY> int Guard(const char *program, BODY body)
{
    try {
        return body();
    } catch (const std::exception &exception) {
        std::fprintf(stderr, "%s: %s\n", program, exception.what());
        return STATUS_FAILED;
    }
}

// A word as a shell reads it, quoted if it has to be.
inline std::string ShellWord(const std::string &word)
{
    static const char PLAIN[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789"
                                "%+,-./:=@_";
    if (!word.empty() && word.find_first_not_of(PLAIN) == std::string::npos) {
        return word;
    }
    std::string quoted = "'";
    for (char letter : word) {
        quoted += letter == '\'' ? "'\\''" : std::string(1, letter);
    }
    return quoted + "'";
}

// The command line as a shell reads it.
inline std::string CommandText(int argc, char **argv)
{
    std::string text = ShellWord(argv[0]);
    for (int i = 1; i < argc; ++i) {
        text += " " + ShellWord(argv[i]);
    }
    return text;
}

// Reads the command line into what `app` is bound to. Returns the exit status if the program is to
// end at once: after --help, --version or a bad option.
inline std::optional<int> ReadOptions(CLI::App &app, int argc, char **argv)
{
    app.set_help_flag("-h,--help", "Show this help and exit");
    app.set_version_flag("-V,--version", VersionText(app.get_name()),
                         "Show version and commit, and exit");
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success &success) {
        return app.exit(success);
    } catch (const CLI::ParseError &error) {
        std::string why = error.what();
        why = why.substr(0, why.find('\n'));
        std::fprintf(stderr, "%s: %s; try '%s --help'\n", app.get_name().c_str(), why.c_str(),
                     app.get_name().c_str());
        return STATUS_USAGE;
    }
    return std::nullopt;
}
