// What the canvas tells: one JSON object per line on the standard output.
#pragma once

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QString>
#include <cstdio>

namespace vantora::canvas {

inline void report(const QString& name, const QJsonValue& value) {
  const QByteArray line = QJsonDocument(QJsonObject{{name, value}}).toJson(QJsonDocument::Compact) + '\n';
  std::fwrite(line.constData(), 1, static_cast<std::size_t>(line.size()), stdout);
  std::fflush(stdout);
}

inline void reportError(const QString& text) { report(QStringLiteral("error"), text); }

}  // namespace vantora::canvas
