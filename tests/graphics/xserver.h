// Window tests of this folder take their X server from the shared helper.
#pragma once

#include "tests/support/xvfb.h"
