#include "text_builder.h"

namespace morvane {

void TextBuilder::resetText() {
    bytes_.clear();
    bytes_.shrink_to_fit();
    capacity_ = kStep;
    bytes_.reserve(capacity_);
}

void TextBuilder::appendText(std::string_view s) {
    while (bytes_.size() + s.size() > capacity_) capacity_ += kStep;
    bytes_.reserve(capacity_);
    bytes_.append(s);
}

}  // namespace morvane
