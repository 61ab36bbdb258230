#pragma once
// The model keeps its texts in UTF-8; the widgets in QString.
#include <QString>
#include <string>
#include <string_view>

namespace morvane::gui {

inline QString qs(std::string_view text) { return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size())); }
inline std::string u8(const QString& text) { return text.toUtf8().toStdString(); }

}  // namespace morvane::gui
