#include "app/sat_params.h"

namespace {
SatParams params;
}

SatParams& SAT_params() {
    return params;
}
void SAT_params_reset() {
    params = SatParams{};
}
