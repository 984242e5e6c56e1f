// Synthetic fingerprint frames: ridges that follow an orientation field
// around a core and a delta, grown by repeated oriented band-pass filtering
// of sparse random seeds.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace standin {

// One grey frame, rows top-down, width * height bytes: ridges dark (about
// 30..110), valleys light (about 150..230), outside the finger 255.
// `index` moves the finger a few pixels, so successive frames differ.
std::vector<uint8_t> renderFrame(int width, int height, int index);

// The same frame as a complete 8-bit bitmap file (1,078 bytes of headers and
// grey palette, rows bottom-up, width * height + 1078 bytes) in which the
// valleys are cleaned to white (255) and the ridges keep their grey.
std::vector<uint8_t> renderBitmapFile(int width, int height, int index);

constexpr size_t kBitmapHeader = 1078;

} // namespace standin
