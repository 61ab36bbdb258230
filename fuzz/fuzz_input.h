#pragma once
// How the cipher fuzz targets read an input:
//   byte 0      the key length: byte 0 modulo (the target's longest key + 1)
//   byte 1      below 224: the body is taken as it is; from 224 up: the body
//               is repeated out to (byte 1 - 223) x 2 KiB beyond its own
//               length, so that short inputs also reach buffers of 2 to 64 KiB
//               (two-core deciphering starts at 32 KiB). Long buffers are slow
//               under the sanitizers, hence only one value in eight asks for one.
//   then        the key bytes, then the body.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace morvane::fuzzing {

constexpr std::uint8_t kFirstRepeat = 224;
constexpr std::size_t kRepeatStep = 2048;

struct Input {
    std::string_view key;
    std::string body;
};

inline std::optional<Input> readInput(const std::uint8_t* data, std::size_t size, std::size_t maxKeyBytes) {
    if (size < 2) return std::nullopt;
    const std::size_t keyLength = std::min<std::size_t>(data[0] % (maxKeyBytes + 1), size - 2);
    const std::uint8_t lengthByte = data[1];
    Input input;
    input.key = {reinterpret_cast<const char*>(data + 2), keyLength};
    const std::string_view body(reinterpret_cast<const char*>(data + 2 + keyLength), size - 2 - keyLength);
    if (lengthByte < kFirstRepeat) {
        input.body.assign(body);
        return input;
    }
    const std::size_t length = body.size() + static_cast<std::size_t>(lengthByte - kFirstRepeat + 1) * kRepeatStep;
    input.body.reserve(length);
    if (body.empty()) {
        input.body.assign(length, '\0');
        return input;
    }
    while (input.body.size() < length) input.body.append(body.substr(0, length - input.body.size()));
    return input;
}

}  // namespace morvane::fuzzing
