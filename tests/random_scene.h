// Random scenes, made from their number alone: scene n is the same everywhere.
#pragma once

#include <cstdint>

#include "tests/scene.h"

// A random scene and how it is run.
struct TRIAL {
    SCENE scene;
    uint64_t ticks;
    uint64_t pause; // the fast run stops after that many ticks and goes on
};

// Makes the random scene of this number.
TRIAL MakeTrial(uint64_t number);
