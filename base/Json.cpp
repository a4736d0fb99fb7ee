#include "base/Json.h"

#include <QJsonDocument>
#include <cmath>

namespace vantora {

std::optional<JsonObject> parseJsonObject(QByteArrayView utf8) {
  QJsonParseError error;
  const QJsonDocument document = QJsonDocument::fromJson(utf8.toByteArray(), &error);
  if (error.error != QJsonParseError::NoError || !document.isObject()) return std::nullopt;
  return document.object();
}

QByteArray toJson(const JsonObject& object) { return QJsonDocument(object).toJson(QJsonDocument::Compact); }

std::optional<QString> stringField(const JsonObject& object, QLatin1StringView key) {
  const QJsonValue value = object.value(key);
  if (!value.isString()) return std::nullopt;
  return value.toString();
}

std::optional<bool> boolField(const JsonObject& object, QLatin1StringView key) {
  const QJsonValue value = object.value(key);
  if (!value.isBool()) return std::nullopt;
  return value.toBool();
}

std::optional<double> numberField(const JsonObject& object, QLatin1StringView key) {
  const QJsonValue value = object.value(key);
  if (!value.isDouble()) return std::nullopt;
  const double number = value.toDouble();
  if (!std::isfinite(number)) return std::nullopt;
  return number;
}

std::optional<qint64> integerField(const JsonObject& object, QLatin1StringView key) {
  const QJsonValue value = object.value(key);
  if (!value.isDouble()) return std::nullopt;
  // toInteger returns its default for a value that is not whole or does not fit: two different defaults distinguish
  // that from a real value.
  const qint64 first = value.toInteger(0);
  if (first != 0 || value.toInteger(1) == 0) return first;
  return std::nullopt;
}

std::optional<JsonObject> objectField(const JsonObject& object, QLatin1StringView key) {
  const QJsonValue value = object.value(key);
  if (!value.isObject()) return std::nullopt;
  return value.toObject();
}

}  // namespace vantora
