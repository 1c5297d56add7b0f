#include "app/sat.h"

int main(int argc, char** argv) { return SAT_main(argc, argv); }
