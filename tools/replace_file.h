// Files that are there whole or not at all, however many commands write them at the same time and
// whatever ends these.
#pragma once

#include <string>

// Writes `text` under a name of this process's own beside `path`, brings it to the disk, and
// renames it to `path`. Returns what went wrong, with the path and what to do, or an empty text;
// `path` is then as it was.
std::string ReplaceFile(const std::string &path, const std::string &text);

// The same, but leaves alone a file that is at `path` already, which is no failure: of several that
// create it, one does.
std::string CreateFile(const std::string &path, const std::string &text);
