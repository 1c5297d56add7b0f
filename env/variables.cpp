#include "env/variables.h"

#include <array>
#include <cstddef>

namespace {
// Types of the variables the point query consults; -9999 until set.
std::array<int, 16> types = [] {
    std::array<int, 16> t{};
    t.fill(-9999);
    return t;
}();
}  // namespace

int VAR_set_type(int variable, int type) {
    if (variable < 0 || variable >= static_cast<int>(types.size())) return -1;
    types[static_cast<size_t>(variable)] = type;
    return 0;
}

int VAR_get_type(int variable) {
    if (variable < 0 || variable >= static_cast<int>(types.size())) return -9999;
    return types[static_cast<size_t>(variable)];
}
