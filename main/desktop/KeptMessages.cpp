#include "main/desktop/KeptMessages.h"

namespace vantora {

using namespace Qt::Literals::StringLiterals;

JsonObject KeptMessages::add(JsonObject message) {
  message.insert(u"number"_s, ++last_);
  const qsizetype bytes = toJson(message).size();
  kept_.enqueue({last_, bytes, message});
  bytes_ += bytes;
  while (kept_.size() > kMaxMessages || bytes_ > kMaxBytes) bytes_ -= kept_.dequeue().bytes;
  return message;
}

void KeptMessages::done(qint64 number) {
  while (!kept_.isEmpty() && kept_.head().number <= number) bytes_ -= kept_.dequeue().bytes;
}

QList<JsonObject> KeptMessages::messages() const {
  QList<JsonObject> messages;
  for (const Kept& kept : kept_) messages.append(kept.message);
  return messages;
}

}  // namespace vantora
