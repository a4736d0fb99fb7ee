// The output of a command as reported to the viewer.
#pragma once

#include <QByteArray>
#include <QString>

#include "base/process/Utf8Check.h"

namespace vantora {

// `text` cut to its first `characters` user-perceived characters, followed by "\n…(truncated)…"; unchanged when it is
// not longer. Pure.
QString truncatedText(const QString& text, qsizetype characters);

// Collects the output of a command in pieces, in bounded memory. Value type, not bound to a thread.
class OutputText {
 public:
  explicit OutputText(qsizetype keptBytes) : keptBytes_(keptBytes) {}

  void append(QByteArrayView bytes);
  // At most `characters` characters, truncated as by truncatedText; empty when any of the output, kept or not, is not
  // UTF-8.
  [[nodiscard]] QString text(qsizetype characters) const;

 private:
  qsizetype keptBytes_;
  QByteArray kept_;
  bool cut_ = false;
  Utf8Check check_;
};

}  // namespace vantora
