#pragma once
// The model keeps its texts as UTF-8 std::string; the widgets want QString.

#include <QString>
#include <string>

namespace quillane {

inline QString qText(const std::string& text) {
    return QString::fromUtf8(text);
}
inline std::string stdText(const QString& text) {
    return text.toUtf8().toStdString();
}

} // namespace quillane
