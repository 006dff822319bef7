// Sole ownership of an operating-system handle: every handle type of ours is an
// alias of this one template, so that moving and closing are written once.
#pragma once

#include <utility>

namespace receiver {

// Traits: `using Type`, `static Type Invalid()`, `static void Close(Type)`.
template <typename Traits>
class UniqueResource {
public:
    using Type = typename Traits::Type;

    UniqueResource() = default;
    explicit UniqueResource(Type value) : value_(value) {}
    UniqueResource(UniqueResource&& other) noexcept : value_(other.Release()) {}
    UniqueResource& operator=(UniqueResource&& other) noexcept {
        if (this != &other) Reset(other.Release());
        return *this;
    }
    ~UniqueResource() { Reset(); }

    bool IsValid() const { return value_ != Traits::Invalid(); }
    Type Get() const { return value_; }
    Type Release() { return std::exchange(value_, Traits::Invalid()); }
    void Reset(Type value = Traits::Invalid()) {
        const Type old = std::exchange(value_, value);
        if (old != Traits::Invalid() && old != value) Traits::Close(old);
    }

private:
    Type value_ = Traits::Invalid();
};

}  // namespace receiver
