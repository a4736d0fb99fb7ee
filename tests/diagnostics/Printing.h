#pragma once

#include <gtest/gtest.h>

#include <QJsonDocument>
#include <QJsonObject>
#include <QString>
#include <QStringList>
#include <ostream>

// Readable values in failure messages. In Qt's own (global) namespace, where GoogleTest looks for them.
inline void PrintTo(const QString& text, std::ostream* out) { *out << '"' << text.toStdString() << '"'; }
inline void PrintTo(const QStringList& texts, std::ostream* out) {
  for (const QString& text : texts) *out << '"' << text.toStdString() << "\" ";
}
inline void PrintTo(const QJsonObject& object, std::ostream* out) {
  *out << QJsonDocument(object).toJson(QJsonDocument::Compact).toStdString();
}
