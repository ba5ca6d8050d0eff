// A rounded sum in closed form.
#pragma once

#include <cstdint>

// The value of `sum` after `term` has been added to it `count` times, one rounded addition after
// the other, bit for bit. Both are finite and not negative.
//
// While the sum stays in one binade its spacing is fixed and every addition rounds to it. Only the
// first of these may break a tie towards an even neighbour downwards or upwards; from an even sum a
// tie always breaks the same way, so each later addition moves the sum by the same exact amount. An
// addition that leaves the binade starts a new such series.
double RepeatedSum(double sum, double term, uint64_t count);
