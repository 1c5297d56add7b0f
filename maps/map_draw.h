// Drawing of the map list under and over an image.
#pragma once

// One pass over the map list: mask 1 the entries under the image, 2 those over it,
// 4 the unmarked ones.
int MAP_draw(int mask);

struct Domain;

// Makes `domain` current and sets the world window of the map transformation to
// its limits.
int MAP_setup(const Domain* domain);
