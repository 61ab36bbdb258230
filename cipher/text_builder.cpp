#include "text_builder.h"

#include "secure_wipe.h"

namespace morvane {

TextBuilder::~TextBuilder() { secureWipe(bytes_); }

void TextBuilder::resetText() {
    bytes_.clear();
    capacity_ = kStep;
}

void TextBuilder::appendText(std::string_view s) {
    if (bytes_.size() + s.size() > capacity_)
        capacity_ += (bytes_.size() + s.size() - capacity_ + kStep - 1) / kStep * kStep;
    if (bytes_.capacity() < kStep) bytes_.reserve(kStep);
    bytes_.append(s);
}

}  // namespace morvane
