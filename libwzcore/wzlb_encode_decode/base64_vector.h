// The 32-byte-register kernels of base64. Call them only where the processor has AVX2.
#pragma once

#include <cstddef>

namespace wz::base64 {

// Encodes whole steps of 24 bytes into 32 characters while the input has room for the loads;
// returns the number of input bytes done, a multiple of 24.
std::size_t encode_avx2(const unsigned char* input, std::size_t length,
                        unsigned char* output) noexcept;

// Decodes steps of 32 characters into exactly 24 bytes each. Stops before a step that does not fit
// `room` or holds a character outside the alphabet; returns the number of characters done.
std::size_t decode_avx2(const unsigned char* input, std::size_t length, unsigned char* output,
                        std::size_t room) noexcept;

}  // namespace wz::base64
