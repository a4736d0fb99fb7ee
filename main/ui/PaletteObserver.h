// Reports when the desktop changes to light or dark.
#pragma once

#include <QObject>
#include <functional>

namespace vantora {

// Calls `changed` whenever the application's palette has changed. Thread: main (of the interface). Owner:
// UserInterface.
class PaletteObserver final : public QObject {
 public:
  explicit PaletteObserver(std::function<void()> changed);

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  const std::function<void()> changed_;
};

}  // namespace vantora
