#include "app/sat_remap.h"

#include "env/domains.h"
#include "formats/image.h"

int SAT_zoom_image(Image* /*image*/, float /*lat*/, float /*lon*/, float /*zoom*/) { return 0; }

int SAT_remap_image(Image* /*image*/, const Domain* /*domain*/) { return 0; }
