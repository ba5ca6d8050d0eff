// What holds of the records at the end of every tick, whatever the scene.
#pragma once

// Asserts it. Builds without assertions have an empty function.
void CheckInvariants();
