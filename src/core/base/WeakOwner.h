#pragma once

#include <memory>
#include <utility>

namespace quillon {

// Lets an object that is not itself held by a shared_ptr hand out callbacks that "hold it weakly":
// once the owner is destroyed, the callbacks do nothing. Embed one as the last member, so it
// dies first, and wrap callbacks with weakly(). Check and call happen on the owner's thread.
class WeakOwner {
public:
    WeakOwner() : token_(std::make_shared<char>(0)) {}
    WeakOwner(const WeakOwner&) = delete;
    WeakOwner& operator=(const WeakOwner&) = delete;

    std::weak_ptr<void> token() const { return token_; }

    // Wraps `fn` so that it runs only while the owner is alive.
    template <class Fn>
    auto weakly(Fn fn) const {
        return [token = token(), fn = std::move(fn)](auto&&... args) {
            if (token.expired()) return;
            fn(std::forward<decltype(args)>(args)...);
        };
    }

private:
    std::shared_ptr<char> token_;
};

// The same for objects owned by a shared_ptr: `fn` receives the locked owner first.
template <class T, class Fn>
auto weakly(const std::shared_ptr<T>& owner, Fn fn) {
    return [weak = std::weak_ptr<T>(owner), fn = std::move(fn)](auto&&... args) {
        if (auto strong = weak.lock()) fn(*strong, std::forward<decltype(args)>(args)...);
    };
}

}  // namespace quillon
