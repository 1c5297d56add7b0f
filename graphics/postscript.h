// The PostScript device.
#pragma once

// Colour or grey output.
int gps_set_colorPS(int on);
int gps_get_colorPS();
