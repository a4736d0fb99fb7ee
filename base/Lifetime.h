// Callbacks that may come after the end of the object that wants them.
#pragma once

#include <functional>
#include <memory>
#include <tuple>
#include <utility>

#include "base/MainThread.h"

namespace vantora {

// A member of an object that hands out callbacks. What is wrapped by it does nothing any more once the object has gone,
// so it may capture `this`. Destroyed and asked on the thread of its owner, which for onMain() is the main thread;
// what it hands out may be copied and destroyed on any. The last member of its class is the best: it goes first, so
// that nothing arrives while the others go.
class Lifetime {
 public:
  // Tells whether the object still lives. Asked on the owner's thread.
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

  // Before the destruction: counts as gone from now on.
  void end() { *alive_ = false; }
  [[nodiscard]] Handle handle() const { return Handle(alive_); }

  // `call`, as long as the object lives. Called on the owner's thread.
  template <typename Call>
  [[nodiscard]] auto guard(Call call) const {
    return [alive = handle(), call = std::move(call)](auto&&... args) {
      if (alive) std::invoke(call, std::forward<decltype(args)>(args)...);
    };
  }

  // `call` by way of postToMain(), with copies of its arguments, if the object still lives then. Called on any thread.
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
