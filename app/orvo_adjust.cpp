// The classic command line.
#include "run/EntryPoint.h"

int main(int argc, char** argv) { return orvo::ClassicMain(argc, argv, orvo::NativePlatform(), stdout); }
