// Messages for the desktop process that it has not carried out yet.
#pragma once

#include <QQueue>

#include "base/Json.h"

namespace vantora {

// Each gets a "number", which the desktop process tells once it has carried the message out. Until then a copy stays
// here for the next process. At most kMaxMessages of them and kMaxBytes of JSON text; beyond either the oldest are
// dropped. Thread: main. Owner: DesktopProcessClient.
class KeptMessages {
 public:
  static constexpr qsizetype kMaxMessages = 1000;
  static constexpr qsizetype kMaxBytes = 2'000'000;

  // Returns the message with its number.
  JsonObject add(JsonObject message);
  // The message of that number was carried out; others are ignored.
  void done(qint64 number);
  // What is still to be carried out, oldest first.
  QList<JsonObject> messages() const;

 private:
  struct Kept {
    qint64 number = 0;
    qsizetype bytes = 0;
    JsonObject message;
  };

  QQueue<Kept> kept_;
  qsizetype bytes_ = 0;
  qint64 last_ = 0;
};

}  // namespace vantora
