// Locks by which processes, also of several machines, agree on who runs a seed: a file beside the
// directory that the replication is written to.
#pragma once

#include <string>

// Takes the lock of the directory `partial`. Returns its descriptor, or -1; errno is EWOULDBLOCK if
// another process holds it.
int LockSeed(const std::string &partial);

// Gives a lock back.
void UnlockSeed(const std::string &partial, int lock);
