#pragma once

#include <cstddef>
#include <cstdint>

/// Of each call the allocation to refuse, counted from 0; negative for none. Set from the environment variable
/// KESTROVA_FUZZ_REFUSE when the process starts.
extern int allocationToRefuse;

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
