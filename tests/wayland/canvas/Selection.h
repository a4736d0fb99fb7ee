// The clipboard, as a program with a window sees it.
#pragma once

#include <wayland-client.h>

#include <QByteArray>
#include <cstdint>
#include <memory>
#include <vector>

#include "tests/wayland/canvas/Globals.h"

namespace vantora::canvas {

class Selection {
 public:
  explicit Selection(Globals& globals);
  Selection(const Selection&) = delete;
  Selection& operator=(const Selection&) = delete;

  // Puts `text` on the clipboard. `serial`: of the latest event of the keyboard or a button.
  void copy(const QByteArray& text, std::uint32_t serial);
  // Reads the clipboard and reports it: {"clipboard": "..."} or null without a text.
  void paste();

  // Pipes from which texts are read, for poll().
  const std::vector<int>& pipes() const { return pipes_; }
  void read(int pipe);

 private:
  void offered(wl_data_offer* offer);
  void selected(wl_data_offer* offer);

  struct Offer {
    wl_data_offer* proxy = nullptr;
    std::vector<QByteArray> types;
  };
  struct Source {
    QByteArray text;
  };

  Globals& globals_;
  wl_data_device* device_ = nullptr;
  std::unique_ptr<Offer> announced_;
  std::unique_ptr<Offer> current_;
  std::vector<int> pipes_;
  std::vector<QByteArray> received_;  // Of each pipe.
};

}  // namespace vantora::canvas
