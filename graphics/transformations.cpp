// Normalisation transformations: world windows onto viewports.
#include "graphics/graphics.h"

int gset_win(int n, const float*) { return (n < 0 || n > 5) ? -1 : 0; }

int gsel_norm_tran(int n) { return (static_cast<unsigned>(n) > 6) ? -1 : 0; }

// With no workstation open there is no viewport: all four values are 0.
int gget_gviewport(int viewport[4]) {
    viewport[0] = viewport[1] = viewport[2] = viewport[3] = 0;
    return 0;
}
