// How platform-call arguments travel on the RPC channel.
//
// A request frame is [u32 length][u32 call id][arguments...]; an answer is
// [u32 length][i32 result][out arguments...]. Codec<T> says, for one
// parameter type, what the client sends, what it takes back, and how the
// service holds the decoded value (its Slot) while the implementation runs.
// Both ends are one build, so records travel as their bytes.
//
// Numbers and records travel in the host's byte order, which is
// little-endian on every target (x86-64, the switch's 32-bit ARM). Records
// have fixed-width members only (platform/open_types.h), so a record has the
// same bytes and the same layout on every target, and nothing on the wire
// depends on the width of `long`, `size_t` or a pointer: buffers travel as a
// 32-bit size and their bytes, never as a descriptor.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>
#include <string>
#include <type_traits>
#include <vector>

#include "platform/open_types.h"

namespace veltrum::rpc {

static_assert(std::endian::native == std::endian::little, "the channel carries little-endian numbers");

// Largest frame either side accepts; larger buffers are refused up front.
inline constexpr uint32_t kMaxFrame = 16u << 20;
inline constexpr uint32_t kMaxBuffer = 8u << 20;

// Call ids: platform calls are (family << 12 | position) below 2^20 (see
// platform/family.h), the simulator's control calls count from kControlBase,
// the channel's own messages from kChannelBase.
inline constexpr uint32_t kControlBase = 0x100000;
inline constexpr uint32_t kChannelBase = 0x200000;
inline constexpr uint32_t kHelloId = kChannelBase + 1;

class Writer {
 public:
  explicit Writer(std::vector<uint8_t> &out) : out_(out) {}
  void bytes(const void *data, size_t n) {
    const auto *p = static_cast<const uint8_t *>(data);
    out_.insert(out_.end(), p, p + n);
  }
  void zeros(size_t n) { out_.insert(out_.end(), n, 0); }
  template <typename T>
  void pod(const T &v) {
    static_assert(std::is_trivially_copyable_v<T>);
    bytes(&v, sizeof v);
  }
  void u8(uint8_t v) { pod(v); }
  void u32(uint32_t v) { pod(v); }
  void i32(int32_t v) { pod(v); }
  // A buffer's contents with trailing zero bytes left out: callers hand the
  // platform zeroed buffers, so an output buffer costs nothing on the way in.
  void trimmed(const uint8_t *data, uint32_t size) {
    // Trailing zeros are not sent; large list buffers are mostly zeros, so
    // they are skipped a word at a time.
    uint32_t n = size;
    for (uint64_t word = 0; n >= sizeof word; n -= sizeof word) {
      std::memcpy(&word, data + n - sizeof word, sizeof word);
      if (word) break;
    }
    while (n > 0 && data[n - 1] == 0) --n;
    u32(n);
    bytes(data, n);
  }

 private:
  std::vector<uint8_t> &out_;
};

class Reader {
 public:
  Reader(const uint8_t *data, size_t n) : p_(data), end_(data + n) {}
  bool bytes(void *dst, size_t n) {
    if (!ok_ || static_cast<size_t>(end_ - p_) < n) return ok_ = false;
    if (n) std::memcpy(dst, p_, n);
    p_ += n;
    return true;
  }
  template <typename T>
  bool pod(T &v) {
    static_assert(std::is_trivially_copyable_v<T>);
    return bytes(&v, sizeof v);
  }
  bool u8(uint8_t &v) { return pod(v); }
  bool u32(uint32_t &v) { return pod(v); }
  bool i32(int32_t &v) { return pod(v); }
  // Reads a trimmed buffer into `dst` of `capacity` bytes, zero-filling the
  // rest. Content longer than the capacity is a protocol fault.
  bool trimmed(uint8_t *dst, uint32_t capacity) {
    uint32_t n = 0;
    if (!u32(n) || n > capacity) return ok_ = false;
    if (!bytes(dst, n)) return false;
    if (dst && capacity > n) std::memset(dst + n, 0, capacity - n);
    return true;
  }
  bool skip_trimmed() {
    uint32_t n = 0;
    if (!u32(n) || static_cast<size_t>(end_ - p_) < n) return ok_ = false;
    p_ += n;
    return true;
  }
  bool ok() const { return ok_; }
  bool at_end() const { return ok_ && p_ == end_; }

 private:
  const uint8_t *p_;
  const uint8_t *end_;
  bool ok_ = true;
};

template <typename T>
inline constexpr bool kIsRecord =
    std::is_trivially_copyable_v<T> && !std::is_pointer_v<T> && !std::is_same_v<T, open_buffdesc>;

template <typename T, typename Enable = void>
struct Codec;

// Value parameter (integer, enum, record): in only.
template <typename T>
struct Codec<T, std::enable_if_t<kIsRecord<T>>> {
  static bool check(const T &) { return true; }
  static void send(Writer &w, const T &v) { w.pod(v); }
  static bool take(Reader &, const T &) { return true; }

  struct Slot {
    T value{};
    T arg() { return value; }
  };
  static bool decode(Reader &r, Slot &s) { return r.pod(s.value); }
  static void encode(Writer &, Slot &) {}
};

// const T *: in only, null allowed.
template <typename T>
struct Codec<const T *, std::enable_if_t<kIsRecord<T>>> {
  static bool check(const T *) { return true; }
  static void send(Writer &w, const T *p) {
    w.u8(p != nullptr);
    if (p) w.pod(*p);
  }
  static bool take(Reader &, const T *) { return true; }

  struct Slot {
    bool present = false;
    T value{};
    const T *arg() { return present ? &value : nullptr; }
  };
  static bool decode(Reader &r, Slot &s) {
    uint8_t present = 0;
    if (!r.u8(present)) return false;
    s.present = present != 0;
    return !s.present || r.pod(s.value);
  }
  static void encode(Writer &, Slot &) {}
};

// T *: in and out, null allowed.
template <typename T>
struct Codec<T *, std::enable_if_t<kIsRecord<T>>> {
  static bool check(T *) { return true; }
  static void send(Writer &w, T *p) {
    w.u8(p != nullptr);
    if (p) w.pod(*p);
  }
  static bool take(Reader &r, T *p) {
    uint8_t present = 0;
    if (!r.u8(present)) return false;
    if (!present) return true;
    T value;
    if (!r.pod(value)) return false;
    if (p) *p = value;
    return true;
  }

  struct Slot {
    bool present = false;
    T value{};
    T *arg() { return present ? &value : nullptr; }
  };
  static bool decode(Reader &r, Slot &s) {
    uint8_t present = 0;
    if (!r.u8(present)) return false;
    s.present = present != 0;
    return !s.present || r.pod(s.value);
  }
  static void encode(Writer &w, Slot &s) {
    w.u8(s.present);
    if (s.present) w.pod(s.value);
  }
};

// The service side of a buffer: the caller's size, its bytes, and one extra
// NUL so that an implementation may read the contents as text safely.
struct BufferSlot {
  bool present = false;
  uint32_t capacity = 0;
  std::vector<uint8_t> data;
  open_buffdesc desc{0, nullptr};

  bool decode(Reader &r) {
    uint8_t flag = 0;
    if (!r.u8(flag)) return false;
    present = flag != 0;
    if (!present) return true;
    if (!r.u32(capacity) || capacity > kMaxBuffer) return false;
    data.assign(capacity + 1, 0);
    if (!r.trimmed(data.data(), capacity)) return false;
    desc.size = capacity;
    desc.pstart = data.data();
    return true;
  }
};

inline bool buffer_ok(const open_buffdesc *d) { return !d || d->size <= kMaxBuffer; }

inline void send_buffer(Writer &w, const open_buffdesc *d) {
  w.u8(d != nullptr);
  if (!d) return;
  w.u32(d->size);
  if (d->pstart)
    w.trimmed(static_cast<const uint8_t *>(d->pstart), d->size);
  else
    w.u32(0);
}

template <>
struct Codec<const open_buffdesc *> {
  static bool check(const open_buffdesc *d) { return buffer_ok(d); }
  static void send(Writer &w, const open_buffdesc *d) { send_buffer(w, d); }
  static bool take(Reader &, const open_buffdesc *) { return true; }

  struct Slot : BufferSlot {
    const open_buffdesc *arg() { return present ? &desc : nullptr; }
  };
  static bool decode(Reader &r, Slot &s) { return s.decode(r); }
  static void encode(Writer &, Slot &) {}
};

template <>
struct Codec<open_buffdesc *> {
  static bool check(const open_buffdesc *d) { return buffer_ok(d); }
  static void send(Writer &w, open_buffdesc *d) { send_buffer(w, d); }
  // The answer mirrors the service's copy of the buffer: its bytes replace
  // the caller's (never past the caller's size) and `size` becomes what the
  // service wrote.
  static bool take(Reader &r, open_buffdesc *d) {
    uint8_t present = 0;
    if (!r.u8(present)) return false;
    if (!present) return true;
    uint32_t written = 0;
    if (!r.u32(written)) return false;
    if (!d) return r.skip_trimmed();
    if (!d->pstart) {
      if (!r.skip_trimmed()) return false;
    } else if (!r.trimmed(static_cast<uint8_t *>(d->pstart), d->size)) {
      return false;
    }
    if (written < d->size) d->size = written;
    return true;
  }

  struct Slot : BufferSlot {
    open_buffdesc *arg() { return present ? &desc : nullptr; }
  };
  static bool decode(Reader &r, Slot &s) { return s.decode(r); }
  static void encode(Writer &w, Slot &s) {
    w.u8(s.present);
    if (!s.present) return;
    uint32_t written = s.desc.size < s.capacity ? s.desc.size : s.capacity;
    w.u32(written);
    w.trimmed(s.data.data(), s.capacity);
  }
};

}  // namespace veltrum::rpc
