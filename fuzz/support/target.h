// What a fuzz target is: two functions that the fuzzer, or the replay of a corpus, calls.
#pragma once

#include <cstddef>
#include <cstdint>

extern "C" {

// Once, before anything else. Every target gets this one: it brings the process into a private
// world and ends it where there is none.
int LLVMFuzzerInitialize(int* argc, char*** argv);

// The target's own: one input. 0 always; what must not be ends the process.
int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size);
}
