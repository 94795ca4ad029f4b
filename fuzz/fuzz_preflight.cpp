// fuzz_preflight.cpp - libFuzzer entry point; the body lives in FuzzTargets.h.
#include "FuzzTargets.h"

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    kxfuzz::quietLog();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    return kxfuzz::fuzzPreflight(data, size);
}
