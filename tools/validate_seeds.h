// Whether runs draw the same numbers.
#pragma once

// Compares the course of two runs with neighbouring seeds where they meet at the same load, and of
// two runs of a campaign. Returns how many correlations are not what is claimed of them.
int CompareSeeds();
