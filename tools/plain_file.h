// Plain files, read as a whole. A FIFO or device would block or never end.
#pragma once

#include <cstddef>
#include <string>

// Reads a file of at most `limit` bytes into `text`. Returns what stands against it, less the name
// of the file, or an empty text.
std::string ReadPlainFile(const std::string &path, size_t limit, std::string &text);

// A path or value as it may stand in a message of one line.
std::string OneLine(std::string text);
