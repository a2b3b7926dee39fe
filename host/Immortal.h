// State that outlives all static objects.
#pragma once

#include <new>

namespace tykhost {

/// Holds a T that is never destroyed, for a static variable that destructors of other static
/// objects may still use. The T lies in this object; only T's constructor may allocate.
template <typename T>
class Immortal {
public:
    Immortal() : object_(new (storage_) T) {}
    Immortal(const Immortal&) = delete;
    Immortal& operator=(const Immortal&) = delete;

    T& operator*() { return *object_; }

private:
    alignas(T) unsigned char storage_[sizeof(T)];
    T* object_;
};

}  // namespace tykhost
