#include "main/rtc/BoundedCandidateResolver.h"

#include <api/task_queue/task_queue_base.h>
#include <netdb.h>
#include <rtc_base/async_resolver_interface.h>
#include <rtc_base/ip_address.h>

#include <atomic>
#include <mutex>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace vantora {
namespace {

constexpr int kMaxLookups = 8;

std::atomic<int> lookups = 0;

std::vector<rtc::IPAddress> addressesOf(const std::string& name, int family) {
  addrinfo hints{};
  hints.ai_family = family;
  hints.ai_flags = AI_ADDRCONFIG;
  hints.ai_socktype = SOCK_DGRAM;
  addrinfo* list = nullptr;
  std::vector<rtc::IPAddress> addresses;
  if (getaddrinfo(name.c_str(), nullptr, &hints, &list) != 0) return addresses;
  for (const addrinfo* entry = list; entry; entry = entry->ai_next) {
    rtc::IPAddress address;
    if (rtc::IPFromAddrInfo(const_cast<addrinfo*>(entry), &address)) addresses.push_back(address);
  }
  freeaddrinfo(list);
  return addresses;
}

// One name. Lives on the network thread.
class Lookup final : public rtc::AsyncResolverInterface {
 public:
  ~Lookup() override {
    const std::lock_guard lock(shared_->mutex);
    shared_->owner = nullptr;
  }

  void Start(const rtc::SocketAddress& address) override { Start(address, AF_UNSPEC); }

  void Start(const rtc::SocketAddress& address, int family) override {
    asked_ = address;
    shared_->owner = this;
    shared_->network = webrtc::TaskQueueBase::Current();
    if (lookups.fetch_add(1) < kMaxLookups) {
      try {
        std::thread([shared = shared_, name = address.hostname(), family] {
          auto addresses = addressesOf(name, family);
          --lookups;
          finish(shared, std::move(addresses));
        }).detach();
        return;
      } catch (const std::system_error&) {  // No thread available: the name stays unknown.
      }
    }
    --lookups;
    finish(shared_, {});
  }

  bool GetResolvedAddress(int family, rtc::SocketAddress* address) const override {
    for (const rtc::IPAddress& found : found_) {
      if (found.family() != family) continue;
      *address = asked_;
      address->SetResolvedIP(found);
      return true;
    }
    return false;
  }

  int GetError() const override { return found_.empty() ? EAI_NONAME : 0; }

  void Destroy(bool /*wait: nothing has to be waited for*/) override { delete this; }

 private:
  // Shared with the lookup's thread: `owner` is null once the resolver is destroyed.
  struct Shared {
    std::mutex mutex;
    Lookup* owner = nullptr;
    webrtc::TaskQueueBase* network = nullptr;
  };

  // The resolver is destroyed on the network thread, so while it exists under the lock, that thread does too.
  static void finish(const std::shared_ptr<Shared>& shared, std::vector<rtc::IPAddress> addresses) {
    const std::lock_guard lock(shared->mutex);
    if (!shared->owner) return;
    shared->network->PostTask([shared, addresses = std::move(addresses)]() mutable {
      Lookup* const owner = shared->owner;  // Changed on this thread only.
      if (!owner) return;
      owner->found_ = std::move(addresses);
      owner->SignalDone(owner);
    });
  }

  const std::shared_ptr<Shared> shared_ = std::make_shared<Shared>();
  rtc::SocketAddress asked_;
  std::vector<rtc::IPAddress> found_;
};

class BoundedCandidateResolver final : public webrtc::AsyncResolverFactory {
 public:
  rtc::AsyncResolverInterface* Create() override { return new Lookup; }
};

}  // namespace

std::unique_ptr<webrtc::AsyncResolverFactory> makeBoundedCandidateResolver() {
  return std::make_unique<BoundedCandidateResolver>();
}

}  // namespace vantora
