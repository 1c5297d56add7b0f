// The variable descriptor table, of which the display uses the type of variable 0.
#pragma once

int VAR_set_type(int variable, int type);
int VAR_get_type(int variable);
