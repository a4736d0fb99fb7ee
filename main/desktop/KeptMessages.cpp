#include "main/desktop/KeptMessages.h"

#include <algorithm>

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
  const auto found = std::ranges::find(kept_, number, &Kept::number);
  if (found == kept_.end()) return;
  bytes_ -= found->bytes;
  kept_.erase(found);
}

QList<JsonObject> KeptMessages::messages() const {
  QList<JsonObject> messages;
  for (const Kept& kept : kept_) messages.append(kept.message);
  return messages;
}

}  // namespace vantora
