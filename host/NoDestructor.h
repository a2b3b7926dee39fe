// State that outlives all static objects. Threads: those that T allows.
#pragma once

#include <new>

namespace tykhost {

/// Holds a T that is never destroyed, for a static variable that destructors of other static
/// objects may still use. The T lies in this object; only T's constructor may allocate.
template <typename T>
class NoDestructor {
public:
    NoDestructor() : object_(new (storage_) T) {}
    NoDestructor(const NoDestructor&) = delete;
    NoDestructor& operator=(const NoDestructor&) = delete;

    T& operator*() { return *object_; }

private:
    alignas(T) unsigned char storage_[sizeof(T)];
    T* object_;
};

}  // namespace tykhost
