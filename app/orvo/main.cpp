#include "orvo/OrvoMain.h"

int main(int argc, char** argv) { return orvo::OrvoMain(argc, argv, {}); }
