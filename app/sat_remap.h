// Moving an 8-bit image from the grid it was read on to the grid it is drawn on:
// a zoom about a point in the image's own projection, or a remap onto another
// plot domain. Both replace the pixel buffer and rewrite the record in place.
#pragma once

struct Domain;
struct Image;

// Magnifies `image` by `zoom` about `lat`, `lon` (lat -9999: from the upper left
// corner), never beyond the viewport. Returns 0.
int SAT_zoom_image(Image* image, float lat, float lon, float zoom);
// The same onto a window of vw by vh pixels instead of the current viewport.
int SAT_zoom_image_to(Image* image, float lat, float lon, float zoom, int vw, int vh);

// Resamples `image` onto the grid of `domain`. Returns 1 after a remap, 0 when
// `domain` has no projection (proj -9999) and the image is left alone.
int SAT_remap_image(Image* image, const Domain* domain);
