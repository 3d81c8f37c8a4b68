#include "png_check.h"

#include <zlib.h>

#include <cstdint>
#include <cstdlib>
#include <set>
#include <vector>

namespace {

std::uint32_t be32(const std::string& b, std::size_t at) {
  return (std::uint32_t(std::uint8_t(b[at])) << 24) |
         (std::uint32_t(std::uint8_t(b[at + 1])) << 16) |
         (std::uint32_t(std::uint8_t(b[at + 2])) << 8) |
         std::uint32_t(std::uint8_t(b[at + 3]));
}

int paeth(int a, int b, int c) {
  int p = a + b - c;
  int pa = std::abs(p - a), pb = std::abs(p - b), pc = std::abs(p - c);
  if (pa <= pb && pa <= pc) return a;
  return pb <= pc ? b : c;
}

}  // namespace

PngSummary summarize_png(const std::string& bytes) {
  PngSummary s;
  static const char kSignature[] = "\x89PNG\r\n\x1a\n";
  if (bytes.size() < 8 || bytes.compare(0, 8, kSignature, 8) != 0) {
    s.error = "not a PNG";
    return s;
  }
  std::string idat;
  int depth = 0, colour_type = 0, interlace = 0;
  for (std::size_t at = 8; at + 8 <= bytes.size();) {
    std::uint32_t length = be32(bytes, at);
    std::string type = bytes.substr(at + 4, 4);
    if (at + 12 + length > bytes.size()) {
      s.error = "truncated chunk " + type;
      return s;
    }
    std::size_t data = at + 8;
    if (type == "IHDR") {
      s.width = be32(bytes, data);
      s.height = be32(bytes, data + 4);
      depth = std::uint8_t(bytes[data + 8]);
      colour_type = std::uint8_t(bytes[data + 9]);
      interlace = std::uint8_t(bytes[data + 12]);
    } else if (type == "IDAT") {
      idat.append(bytes, data, length);
    } else if (type == "IEND") {
      break;
    }
    at += 12 + length;
  }
  if (depth != 8 || (colour_type != 2 && colour_type != 6) || interlace) {
    s.error = "not an 8-bit RGB(A) non-interlaced PNG";
    return s;
  }
  std::size_t channels = colour_type == 6 ? 4 : 3;
  std::size_t stride = s.width * channels;
  std::vector<unsigned char> raw((stride + 1) * s.height);
  uLongf raw_size = raw.size();
  if (uncompress(raw.data(), &raw_size,
                 reinterpret_cast<const Bytef*>(idat.data()),
                 idat.size()) != Z_OK ||
      raw_size != raw.size()) {
    s.error = "the image data does not inflate";
    return s;
  }
  // Undo the per-row filters into `pixels`.
  std::vector<unsigned char> pixels(stride * s.height);
  std::set<std::uint32_t> seen;
  for (std::size_t y = 0; y < s.height; ++y) {
    unsigned char filter = raw[y * (stride + 1)];
    const unsigned char* in = &raw[y * (stride + 1) + 1];
    unsigned char* out = &pixels[y * stride];
    const unsigned char* up = y ? &pixels[(y - 1) * stride] : nullptr;
    for (std::size_t x = 0; x < stride; ++x) {
      int a = x >= channels ? out[x - channels] : 0;
      int b = up ? up[x] : 0;
      int c = (up && x >= channels) ? up[x - channels] : 0;
      int v = in[x];
      switch (filter) {
        case 0:
          break;
        case 1:
          v += a;
          break;
        case 2:
          v += b;
          break;
        case 3:
          v += (a + b) / 2;
          break;
        case 4:
          v += paeth(a, b, c);
          break;
        default:
          s.error = "unknown row filter";
          return s;
      }
      out[x] = static_cast<unsigned char>(v);
    }
    for (std::size_t x = 0; x < stride && seen.size() < 1000; x += channels) {
      std::uint32_t colour = 0;
      for (std::size_t k = 0; k < channels; ++k)
        colour = colour << 8 | out[x + k];
      seen.insert(colour);
    }
  }
  s.colours = static_cast<unsigned>(seen.size());
  return s;
}
