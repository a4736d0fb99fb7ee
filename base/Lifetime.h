// Callbacks that may arrive after the destruction of their receiver.
#pragma once

#include <functional>
#include <memory>
#include <tuple>
#include <utility>

#include "base/MainThread.h"

namespace vantora {

// A member of an object that hands out callbacks. A wrapped callback does nothing after the object is destroyed, so it
// may capture `this`. Destroyed and read on the owner's thread, which for onMain() is the main thread; wrapped
// callbacks may be copied and destroyed on any thread. Best declared as the last member, or before the thread that
// calls: it is destroyed first, so that no callback runs while the other members are destroyed.
class Lifetime {
 public:
  // Whether the object still exists. Read on the owner's thread.
  class Handle {
   public:
    explicit operator bool() const { return *alive_; }

   private:
    friend class Lifetime;
    explicit Handle(std::shared_ptr<const bool> alive) : alive_(std::move(alive)) {}
    std::shared_ptr<const bool> alive_;
  };

  Lifetime() = default;
  ~Lifetime() { end(); }
  Lifetime(const Lifetime&) = delete;
  Lifetime& operator=(const Lifetime&) = delete;

  // Treats the object as destroyed from now on, before its actual destruction.
  void end() { *alive_ = false; }
  [[nodiscard]] Handle handle() const { return Handle(alive_); }

  // `call`, as long as the object exists. Called on the owner's thread.
  template <typename Call>
  [[nodiscard]] auto guard(Call call) const {
    return [alive = handle(), call = std::move(call)](auto&&... args) {
      if (alive) std::invoke(call, std::forward<decltype(args)>(args)...);
    };
  }

  // `call` through postToMain(), with copies of its arguments, if the object still exists then. Called on any thread.
  template <typename Call>
  [[nodiscard]] auto onMain(Call call) const {
    return [guarded = guard(std::move(call))](auto... args) {
      postToMain([guarded, args = std::make_tuple(std::move(args)...)] { std::apply(guarded, args); });
    };
  }

 private:
  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace vantora
