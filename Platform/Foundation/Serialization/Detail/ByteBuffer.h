#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "Platform/Foundation/Text/Bytes.h"
#include "Platform/Foundation/Values/Detail/DataRep.h"
#include "Platform/Foundation/Values/Detail/Pool.h"
#include "Platform/Foundation/Values/NSData.h"

namespace orv::detail {

// Bytes that grow at their end and become data without being copied. For one thread.
//
//   ByteBuffer out;
//   out.append("[1");
//   out.put(']');
//   NSData data = out.finish();   // the buffer is empty again
class ByteBuffer {
 public:
  ByteBuffer() noexcept = default;
  ByteBuffer(const ByteBuffer&) = delete;
  ByteBuffer& operator=(const ByteBuffer&) = delete;
  ~ByteBuffer() { poolFree(block_, capacity_); }

  size_t size() const noexcept { return size_ - sizeof(DataRep); }

  // Room for at least `bytes` more, and where they go; `advanceTo` says where they ended.
  uint8_t* reserve(size_t bytes) {
    if (bytes > capacity_ - size_ || !block_) grow(bytes);
    return block_ + size_;
  }
  void advanceTo(const uint8_t* end) noexcept { size_ = static_cast<size_t>(end - block_); }

  void put(char byte) {
    *reserve(1) = static_cast<uint8_t>(byte);
    ++size_;
  }
  void append(std::string_view bytes) {
    copyBytes(reserve(bytes.size()), bytes.data(), bytes.size());
    size_ += bytes.size();
  }
  void appendRepeated(char byte, size_t count) {
    std::fill_n(reserve(count), count, static_cast<uint8_t>(byte));
    size_ += count;
  }

  NSData finish() {
    reserve(0);
    void* block = capacity_ == size_ ? block_ : poolReallocate(block_, capacity_, size_);
    DataRep* rep = DataRep::place(block, size());
    block_ = nullptr;
    capacity_ = 0;
    size_ = sizeof(DataRep);
    return Access::cast<NSData>(Access::adopt(rep));
  }

 private:
  static constexpr size_t kFirstCapacity = 512;

  void grow(size_t bytes) {
    const size_t wanted = std::max({kFirstCapacity, capacity_ * 2, size_ + bytes});
    void* grown = block_ ? poolReallocate(block_, capacity_, wanted) : poolAllocate(wanted);
    block_ = static_cast<uint8_t*>(grown);
    capacity_ = wanted;
  }

  uint8_t* block_ = nullptr;
  size_t capacity_ = 0;
  size_t size_ = sizeof(DataRep);  // the header's place included
};

}  // namespace orv::detail
