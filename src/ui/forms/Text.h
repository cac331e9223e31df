#pragma once
// The model keeps its texts as UTF-8 std::string; the widgets want QString.

#include <QString>
#include <string>

namespace quillane {

inline QString qText(const std::string& text) {
    return QString::fromUtf8(text);
}
// Messages and captions carry CR LF line breaks; Qt's labels want plain line feeds.
inline QString qDisplayText(const std::string& text) {
    QString s = QString::fromUtf8(text);
    s.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    return s;
}
inline std::string stdText(const QString& text) {
    return text.toUtf8().toStdString();
}

} // namespace quillane
