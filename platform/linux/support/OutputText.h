// The output of a command as it is reported.
#pragma once

#include <QByteArray>
#include <QString>

#include "base/process/Utf8Check.h"

namespace vantora {

// `text` cut to its first `characters` characters as a person counts them, with "\n…(truncated)…" behind; unchanged
// when it is not longer. Pure.
QString truncatedText(const QString& text, qsizetype characters);

// Takes the output of a command piece by piece in bounded memory. Value type without a thread.
class OutputText {
 public:
  explicit OutputText(qsizetype keptBytes) : keptBytes_(keptBytes) {}

  void append(QByteArrayView bytes);
  // At most `characters` characters, as truncatedText cuts them; empty when what came is not UTF-8, even where it was
  // not kept.
  [[nodiscard]] QString text(qsizetype characters) const;

 private:
  qsizetype keptBytes_;
  QByteArray kept_;
  bool cut_ = false;
  Utf8Check check_;
};

}  // namespace vantora
