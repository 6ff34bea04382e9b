// Names nothing but the simulated machine's library.
#include <brisvane/host/simulated/simulated_machine.h>

#include <cstdio>

int main() { std::puts(brisvane::host::simulated::Machine::exampleDescription().data()); }
