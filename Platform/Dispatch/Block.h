#pragma once

#include <cstddef>
#include <cstring>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

#include "Platform/Foundation/Export.h"
#include "Platform/Foundation/Values/Detail/Pool.h"

namespace orv {

template <class Signature>
class BlockOf;

namespace detail {

template <class T>
inline constexpr bool isBlock = false;
template <class Signature>
inline constexpr bool isBlock<BlockOf<Signature>> = true;

// Null function pointers and empty std::functions make empty blocks.
template <class F>
bool isEmptyCallable(const F& function) {
  if constexpr (requires { static_cast<bool>(function == nullptr); })
    return function == nullptr;
  else
    return false;
}

}  // namespace detail

// Something to be called, once or often: what queues take. Move-only, so that it may hold what cannot be
// copied; a callable of up to five pointers lies in the block itself, a larger one in the pool. Not to be
// called by two threads at once unless the callable allows it. Empty by default, and when made of a null
// pointer or an empty std::function; an empty block must not be called.
//
//   orv::Block block = [file = std::move(file)] { file->write(); };
//   queue->async(std::move(block));
template <class R, class... Args>
class BlockOf<R(Args...)> {
 public:
  BlockOf() noexcept = default;
  BlockOf(std::nullptr_t) noexcept {}

  template <class F, class T = std::decay_t<F>>
  requires(!std::is_same_v<T, BlockOf> && std::is_invocable_r_v<R, T&, Args...>) BlockOf(F&& function) {
    if (detail::isEmptyCallable(function)) return;
    if constexpr (fits<T>) {
      new (&storage_) T(std::forward<F>(function));
      kind_ = &inlineKind<T>;
    } else {
      void* memory = detail::poolAllocate(sizeof(T));
      try {
        heap() = new (memory) T(std::forward<F>(function));
      } catch (...) {
        detail::poolFree(memory, sizeof(T));
        throw;
      }
      kind_ = &heapKind<T>;
    }
  }

  BlockOf(BlockOf&& other) noexcept { take(other); }
  BlockOf& operator=(BlockOf&& other) noexcept {
    if (this == &other) return *this;
    clear();
    take(other);
    return *this;
  }
  BlockOf(const BlockOf&) = delete;
  BlockOf& operator=(const BlockOf&) = delete;
  ~BlockOf() { clear(); }

  explicit operator bool() const noexcept { return kind_ != nullptr; }
  friend bool operator==(const BlockOf& block, std::nullptr_t) noexcept { return !block; }

  R operator()(Args... args) { return kind_->call(&storage_, std::forward<Args>(args)...); }

 private:
  static constexpr size_t kInlineBytes = 40;
  static constexpr size_t kWord = 8;

  struct Kind {
    R (*call)(void* storage, Args&&... args);
    void (*move)(void* from, void* to) noexcept;  // null: the words
    void (*end)(void* storage) noexcept;          // null: nothing to do
    size_t words;                                 // of the storage, in use
  };

  template <class T>
  static constexpr bool fits = sizeof(T) <= kInlineBytes &&
                               alignof(T) <= alignof(void*) && std::is_nothrow_move_constructible_v<T>;

  template <class T>
  static R callInline(void* storage, Args&&... args) {
    return static_cast<R>((*static_cast<T*>(storage))(std::forward<Args>(args)...));
  }
  template <class T>
  static void moveInline(void* from, void* to) noexcept {
    new (to) T(std::move(*static_cast<T*>(from)));
    static_cast<T*>(from)->~T();
  }
  template <class T>
  static void endInline(void* storage) noexcept {
    static_cast<T*>(storage)->~T();
  }
  template <class T>
  static R callHeap(void* storage, Args&&... args) {
    return static_cast<R>((**static_cast<T**>(storage))(std::forward<Args>(args)...));
  }
  template <class T>
  static void endHeap(void* storage) noexcept {
    T* callable = *static_cast<T**>(storage);
    callable->~T();
    detail::poolFree(callable, sizeof(T));
  }

  template <class T>
  static constexpr bool isWords = std::is_trivially_copyable_v<T> &&
                                  (std::is_empty_v<T> || sizeof(T) % kWord == 0);
  template <class T>
  static constexpr Kind inlineKind{&callInline<T>, isWords<T> ? nullptr : &moveInline<T>,
                                   std::is_trivially_destructible_v<T> ? nullptr : &endInline<T>,
                                   std::is_empty_v<T> ? 0 : sizeof(T) / kWord};
  template <class T>
  static constexpr Kind heapKind{&callHeap<T>, nullptr, &endHeap<T>, 1};

  void*& heap() noexcept { return *reinterpret_cast<void**>(&storage_); }

  // Word by word, as they were written a moment ago: wider reads would wait until all of them have left for the
  // cache.
  void takeWords(const std::byte* from, size_t words) noexcept {
    static_assert(kInlineBytes == 5 * kWord);
    switch (words) {
      case 5: takeWord(from, 4); [[fallthrough]];
      case 4: takeWord(from, 3); [[fallthrough]];
      case 3: takeWord(from, 2); [[fallthrough]];
      case 2: takeWord(from, 1); [[fallthrough]];
      case 1: takeWord(from, 0); [[fallthrough]];
      default: break;
    }
  }
  void takeWord(const std::byte* from, size_t index) noexcept {
    std::memcpy(storage_ + index * kWord, from + index * kWord, kWord);
  }

  void take(BlockOf& other) noexcept {
    kind_ = std::exchange(other.kind_, nullptr);
    if (!kind_) return;
    if (kind_->move)
      kind_->move(&other.storage_, &storage_);
    else
      takeWords(other.storage_, kind_->words);
  }
  void clear() noexcept {
    if (const Kind* kind = std::exchange(kind_, nullptr); kind && kind->end) kind->end(&storage_);
  }

  const Kind* kind_ = nullptr;
  alignas(void*) std::byte storage_[kInlineBytes];
};

using Block = BlockOf<void()>;

// A callable that lives elsewhere: for calls that end before it does. Two words, copied freely.
class BlockRef {
 public:
  template <class F>
  requires(!std::is_same_v<std::decay_t<F>, BlockRef> && std::is_invocable_v<F&>) BlockRef(F&& function)
  noexcept
      : callable_(const_cast<void*>(static_cast<const void*>(std::addressof(function)))),
        call_(detail::isEmptyCallable(function) ? nullptr : &callAs<std::remove_reference_t<F>>) {}

  explicit operator bool() const noexcept { return call_ != nullptr; }
  void operator()() const { call_(callable_); }

 private:
  template <class F>
  static void callAs(void* callable) {
    (*static_cast<F*>(callable))();
  }

  void* callable_;
  void (*call_)(void*);
};

}  // namespace orv
