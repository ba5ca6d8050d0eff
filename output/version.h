// Which program this is. A small library of its own, so that programs that need nothing of the
// model can tell it as well.
#pragma once

#include <string>
#include <string_view>

// Version of the program, the commit it was built from ("unknown" outside a checkout, with "-dirty"
// behind it if files had been changed since), and the compiler.
const char *ProgramVersion();
const char *ProgramCommit();
const char *ProgramCompiler();

// What `program --version` prints, without a line break: name, version, commit.
std::string VersionText(const std::string &program);

// For programs that read their arguments themselves: if `argument` is --help or -h prints `usage`
// on standard output, if it is --version or -V the version. Returns whether it was one of them.
bool AnswerHelpOrVersion(std::string_view argument, const char *program, const char *usage);
