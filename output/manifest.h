// manifest.json: what run the results beside it are of. Written before the first result and
// completed behind the last, so that whoever finds results can tell their seed and whether the run
// has ended. No part of the results: where it cannot be written the run goes on without it.
#pragma once

#include <string>
#include <vector>

// Begins the manifest of a run of `program` at `path`: the experiment of `g_settings` and who
// simulates it, "complete": false; with "warnings" if there are any, lines without control
// characters. Takes an older manifest away. Returns what went wrong, with the path, or an empty
// text.
std::string BeginManifest(const std::string &path, const std::string &program,
                          const std::vector<std::string> &warnings = {});

// Completes the manifest that was begun last by the time that the run took; `complete` says whether
// all results were written. `members` are further members of the object, each with a comma behind
// it. Does nothing if that manifest could not be begun. Returns as above.
std::string EndManifest(bool complete, const std::string &members = "");
