#include "app/sat.h"
#include "env/messages.h"

// Every end goes through ZMT_exit, which turns a normal end into exit code 12 when an
// output could not be written.
int main(int argc, char** argv) {
    ZMT_exit(SAT_main(argc, argv));
}
