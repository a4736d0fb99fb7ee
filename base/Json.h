// JSON as exchanged between host, room server and viewer.
#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QJsonObject>
#include <QJsonValue>
#include <QString>
#include <optional>

namespace vantora {

// A decoded JSON object: every signalling message and every control message has this form.
using JsonObject = QJsonObject;

// The JSON object in `utf8`, or empty when the bytes are not UTF-8, not JSON, nested deeper than the parser allows, or
// not an object at the top level. Pure.
std::optional<JsonObject> parseJsonObject(QByteArrayView utf8);

// Compact UTF-8 text of `object`; key order is unspecified. Pure.
QByteArray toJson(const JsonObject& object);

// Typed field access: empty when the field is missing or has another JSON type.
std::optional<QString> stringField(const JsonObject& object, QLatin1StringView key);
std::optional<bool> boolField(const JsonObject& object, QLatin1StringView key);
std::optional<double> numberField(const JsonObject& object, QLatin1StringView key);
// A number with a whole value that fits 64 bits (30 and 30.0 count, 1.5, true and 1e30 do not).
std::optional<qint64> integerField(const JsonObject& object, QLatin1StringView key);
std::optional<JsonObject> objectField(const JsonObject& object, QLatin1StringView key);

}  // namespace vantora
