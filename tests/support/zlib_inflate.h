#pragma once
// What zlib makes of a raw deflate stream: the bytes it inflates to, and
// whether it read the stream to its end with nothing after it.
#include <zlib.h>

#include <cstdint>
#include <vector>

namespace morvane::testing {

inline bool zlibInflates(const std::vector<std::uint8_t>& stream, std::vector<std::uint8_t>& out) {
    z_stream z{};
    if (inflateInit2(&z, -MAX_WBITS) != Z_OK) return false;
    std::vector<std::uint8_t> buffer(1 << 16);
    z.next_in = const_cast<Bytef*>(stream.data());
    z.avail_in = static_cast<uInt>(stream.size());
    int result = Z_OK;
    while (result == Z_OK) {
        z.next_out = buffer.data();
        z.avail_out = static_cast<uInt>(buffer.size());
        result = inflate(&z, Z_NO_FLUSH);
        out.insert(out.end(), buffer.begin(), buffer.end() - z.avail_out);
        if (result == Z_BUF_ERROR && z.avail_in == 0) break;
    }
    const bool whole = result == Z_STREAM_END && z.avail_in == 0;
    inflateEnd(&z);
    return whole;
}

}  // namespace morvane::testing
