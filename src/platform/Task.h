#pragma once

#include <cstddef>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

// A move-only unit of work for a SerialQueue. Small callables (the usual
// lambda capturing a few pointers or a shared pointer) live inline, so
// enqueuing them on a per-frame path allocates nothing.
class Task {
public:
    static constexpr std::size_t inlineSize = 64;

    Task() = default;

    template <typename F, typename = std::enable_if_t<!std::is_same_v<std::decay_t<F>, Task>>>
    Task(F&& f) {  // NOLINT(google-explicit-constructor): tasks are written as lambdas
        using Fn = std::decay_t<F>;
        if constexpr (sizeof(Fn) <= inlineSize && alignof(Fn) <= alignof(std::max_align_t) &&
                      std::is_nothrow_move_constructible_v<Fn>) {
            new (storage_) Fn(std::forward<F>(f));
            ops_ = &inlineOps<Fn>;
        } else {
            *reinterpret_cast<Fn**>(storage_) = new Fn(std::forward<F>(f));
            ops_ = &heapOps<Fn>;
        }
    }

    Task(Task&& other) noexcept { moveFrom(other); }
    Task& operator=(Task&& other) noexcept {
        if (this != &other) {
            reset();
            moveFrom(other);
        }
        return *this;
    }
    Task(const Task&) = delete;
    Task& operator=(const Task&) = delete;
    ~Task() { reset(); }

    explicit operator bool() const { return ops_ != nullptr; }
    void operator()() { ops_->call(storage_); }

    void reset() {
        if (ops_) {
            ops_->destroy(storage_);
            ops_ = nullptr;
        }
    }

private:
    struct Ops {
        void (*call)(void*);
        void (*move)(void* from, void* to);
        void (*destroy)(void*);
    };

    template <typename Fn>
    static constexpr Ops inlineOps{[](void* p) { (*static_cast<Fn*>(p))(); },
                                   [](void* from, void* to) {
                                       new (to) Fn(std::move(*static_cast<Fn*>(from)));
                                       static_cast<Fn*>(from)->~Fn();
                                   },
                                   [](void* p) { static_cast<Fn*>(p)->~Fn(); }};

    template <typename Fn>
    static constexpr Ops heapOps{
        [](void* p) { (**static_cast<Fn**>(p))(); },
        [](void* from, void* to) { *static_cast<Fn**>(to) = *static_cast<Fn**>(from); },
        [](void* p) { delete *static_cast<Fn**>(p); }};

    void moveFrom(Task& other) {
        ops_ = other.ops_;
        if (ops_) {
            ops_->move(other.storage_, storage_);
            other.ops_ = nullptr;
        }
    }

    alignas(std::max_align_t) unsigned char storage_[inlineSize];
    const Ops* ops_ = nullptr;
};
