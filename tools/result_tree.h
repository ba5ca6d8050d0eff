// The result files of a run: the form of each, word by word. All that the tools know about what the
// files hold is here. The form follows from the experiment: its loads, trials and packets.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "driver/settings.h"

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
    int load_kbps;     // of a flow of weight 1, or LOAD_NONE
    bool is_value;
    bool is_integer; // else a real number, inf or nan
};

using LINE = std::vector<CELL>;

struct FILE_FORM {
    std::string name;
    std::vector<LINE> lines;
    bool open_end;       // the last line ends with a tab instead of a line break
    bool is_csv = false; // words are parted by commas, and missing values are empty
};

constexpr char FLOW_FILE[] = "flows.csv"; // that dcfsim-experiment leaves beside the others

// The forms of all files of an experiment.
struct TREE_FORM {
    SETTINGS experiment;
    bool has_flows;               // FLOW_FILE is one of them, the last
    std::vector<FILE_FORM> files; // in the order in which a run opens them
};

// The form of the results of an experiment. Made at the first call, and there until the program
// ends.
const TREE_FORM &FormOf(const SETTINGS &experiment, bool has_flows = false);

// That of the published one.
const TREE_FORM &PublishedForm();

// A load in Mbit/s, as tables show it: without zeros behind the point.
std::string LoadText(int load_kbps);

// Whether two experiments differ in nothing but title, seed and generator.
bool IsSameExperiment(const SETTINGS &a, const SETTINGS &b);

// The name of what goes from one station to another.
std::string LinkName(int sender, int receiver);

// The flows of an experiment in the order in which they stand there; of several with the same ends,
// the first.
std::vector<FLOW> DistinctFlows(const SETTINGS &experiment);

// Whether the flows are those of the five pairs, whatever their weights.
bool HasPairs(const SETTINGS &experiment);

// Parts a line into words. SplitCells does so for a row of a CSV file.
std::vector<std::string_view> SplitWords(std::string_view line);
std::vector<std::string_view> SplitCells(std::string_view line);
