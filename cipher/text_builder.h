#pragma once
// The cipher object's growable byte area for assembling texts. Its capacity
// starts at 1024 bytes and grows by 1024 bytes whenever an append would
// overflow it; memory itself is taken on first use and grows geometrically
// underneath, so long texts are not copied once per step.
#include <cstddef>
#include <string>
#include <string_view>

namespace morvane {

class TextBuilder {
public:
    static constexpr std::size_t kStep = 1024;

    TextBuilder() = default;
    TextBuilder(const TextBuilder&) = delete;
    TextBuilder& operator=(const TextBuilder&) = delete;
    // The area may hold deciphered text: it is wiped when the builder dies.
    ~TextBuilder();

    void resetText();
    void appendText(std::string_view s);
    std::string getText() const { return bytes_; }
    std::size_t capacity() const { return capacity_; }

private:
    std::string bytes_;
    std::size_t capacity_ = kStep;
};

}  // namespace morvane
