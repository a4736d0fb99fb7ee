// The library's weak references without its check that they are read and invalidated on one thread. The library breaks
// that rule itself: after a failed DTLS handshake it reads a reference to the peer connection on the network thread and
// then destroys the connection on the signalling thread, where the check would abort the program. Any viewer could
// cause that. The reference is never read after its invalidation: its readers are destroyed first, on their own thread.
//
// The linker uses these definitions instead of the library's (CMakeLists.txt).
#include <rtc_base/weak_ptr.h>

namespace rtc::internal {

WeakReference::Flag::Flag() : is_valid_(true) {}
WeakReference::Flag::~Flag() = default;
void WeakReference::Flag::Invalidate() { is_valid_ = false; }
bool WeakReference::Flag::IsValid() const { return is_valid_; }

WeakReference::WeakReference() = default;
WeakReference::WeakReference(const Flag* flag) : flag_(flag) {}
WeakReference::WeakReference(WeakReference&& other) = default;  // NOLINT(performance-noexcept-move-constructor)
WeakReference::WeakReference(const WeakReference& other) = default;
WeakReference::~WeakReference() = default;
bool WeakReference::is_valid() const { return flag_ && flag_->IsValid(); }

WeakReferenceOwner::WeakReferenceOwner() = default;
WeakReferenceOwner::~WeakReferenceOwner() { Invalidate(); }
WeakReference WeakReferenceOwner::GetRef() const {
  // Without any remaining reference a new flag is needed.
  if (!HasRefs()) flag_ = new RefCountedObject<WeakReference::Flag>();
  return WeakReference(flag_.get());
}
void WeakReferenceOwner::Invalidate() {
  if (flag_) flag_->Invalidate();
  flag_ = nullptr;
}

WeakPtrBase::WeakPtrBase() = default;
WeakPtrBase::~WeakPtrBase() = default;
WeakPtrBase::WeakPtrBase(const WeakReference& ref) : ref_(ref) {}

}  // namespace rtc::internal
