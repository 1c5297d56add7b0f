#include "env/variables.h"

#include <array>
#include <cstddef>

#include "env/missing.h"

namespace {
// Types of the variables the point query consults; -9999 until set.
std::array<int, 16> types = [] {
    std::array<int, 16> t{};
    t.fill(ZMT_MISSING);
    return t;
}();
}  // namespace

int VAR_set_type(int variable, int type) {
    if (variable < 0 || variable >= static_cast<int>(types.size())) return -1;
    types[static_cast<size_t>(variable)] = type;
    return 0;
}

int VAR_get_type(int variable) {
    if (variable < 0 || variable >= static_cast<int>(types.size())) return ZMT_MISSING;
    return types[static_cast<size_t>(variable)];
}
