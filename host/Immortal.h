// State that outlives every static object.
#pragma once

#include <new>

namespace tykhost {

/// Holds a T that is never destroyed, in its own storage: for a static variable that destructors of
/// other static objects may still use. Making it allocates nothing unless T's constructor does.
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
