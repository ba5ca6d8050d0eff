// The result files of a run: the form of each, word by word. All that the tools know about what the
// files hold is here.
#pragma once

#include <string>
#include <string_view>
#include <vector>

constexpr int TREE_TRIALS = 2;
constexpr int TREE_LOADS = 36; // 0 to 35 Mbit/s

constexpr int TRIAL_NONE = -1; // figures of the whole run
constexpr int TRIAL_MEAN = 0;  // means over the trials
constexpr int LOAD_NONE = -1;

// One word of a result file: text that always stands there, or a value. Words are parted by blanks,
// tabs and round brackets.
struct CELL {
    std::string text;   // the word, or the metric whose value stands there
    std::string unit;   // of a value; "1" if it has no dimension
    std::string suffix; // letters glued to a value
    const char *kind; // kind of thing a value belongs to; null: text, or filler not worth exporting
    std::string thing; // the station, flow, link or what else it is
    int trial;         // TRIAL_NONE, TRIAL_MEAN or counted from 1
    int load;          // Mbit/s per flow, or LOAD_NONE
    bool is_value;
    bool is_integer; // else a real number, inf or nan
};

using LINE = std::vector<CELL>;

struct FILE_FORM {
    std::string name;
    std::vector<LINE> lines;
    bool open_end; // the last line ends with a tab instead of a line break
};

// All 43 files in the order in which a run opens them. Built at the first call.
const std::vector<FILE_FORM> &ResultForms();

// Parts a line into words.
std::vector<std::string_view> SplitWords(std::string_view line);
