// Getters, setters, actions and cursors made from platform calls.
//
// A platform call's arguments are named by where they come from:
//
//   Val            the key's own value (a setter's input, a getter's output)
//   ValText<N>     the same, for a text of at most N characters
//   Idx<i>         the element's i-th index number (port, VLAN, sequence)
//   Txt<i>         the element's i-th index text (a list name)
//   Key<"name">    another member of the same element
//   Q<"name">      a query variable of the request
//   Lit<v>         a constant
//   LitText<"t">   a constant text (a list the platform names)
//   Skip           an output the key does not need
//   Ipv4<S>        S's dotted text as a host-order 32-bit address (in and out)
//
// and each is converted to the call's parameter type: numbers to integers
// and enumerations (a value the type cannot hold is refused with
// OPEN_E_PARAM before any call), texts to open_buffdesc, address texts to
// open_inet_addr_t. So
//
//   get<&rpcclt_openapiStormControlIntfThresholdGet, Idx<0>, Q<"mode">, Val>
//   set<&rpcclt_openapiStormControlIntfThresholdSet, Idx<0>, Key<"mode">, Val>
//   act<&rpcclt_openapiFilterCreate, Key<"macAddr">, Key<"vlan">>
//
// are a getter, a setter and an action. The common shapes need no sources:
// platform_get<&call> and platform_set<&call> take (client, [index,] value).
//
// Cursors walk platform lists: the In sources give the current entry, the
// Out sources take the next one (NextNum<i>, NextTxt<i, N>), Row<"key">
// keeps a value the same call returns for the element's getters (from_row).
//
//   list(cursor<&rpcclt_openapiArpAclNextGet, Txt<0>, NextTxt<0, 32>>)
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <limits>
#include <string>
#include <tuple>
#include <vector>
#include <type_traits>

#include <arpa/inet.h>

#include "core/handler.h"

namespace veltrum::handler {

// One member of a platform record as a JSON key: VELTRUM_MEMBER(
// OPEN_DAI_VLAN_STATS_t, dhcpDrops, "dhcpDrop"). Integer members of 1 to 8
// bytes, read without assuming their alignment (as little-endian numbers:
// every target is little-endian, see platform/rpc_codec.h).
struct Member {
  const char *key;
  size_t offset;
  uint8_t size;
  bool is_signed;
};
#define VELTRUM_MEMBER(Type, member, key)                                                  \
  ::veltrum::handler::Member {                                                            \
    key, offsetof(Type, member), sizeof(Type::member), std::is_signed_v<decltype(Type::member)> \
  }

// A text usable as a template argument: Key<"mode">.
template <size_t N>
struct Name {
  char text[N];
  constexpr Name(const char (&s)[N]) { std::copy_n(s, N, text); }
};

struct Val {};
template <size_t N>
struct ValText {};
template <int I = 0>
struct Idx {};
template <int I = 0, size_t N = 0>
struct Txt {};  // N > 0: cut to N characters
template <Name K>
struct Key {};
template <Name K>
struct Q {};
template <int64_t V>
struct Lit {};
template <Name T>
struct LitText {};
struct Skip {};
template <typename S>
struct Ipv4 {};
// An argument a platform call looks up from other sources: the routing
// interface of the element's VLAN is
// Lookup<&rpcclt_openapiRtrVlanIntfIfNumGet, Idx<0>>.
template <auto Fn, typename... S>
struct Lookup {};
// A prefix length (0..32) as a dotted network mask text: "255.255.255.0"
// is 24, in and out.
template <typename S>
struct Mask {};
// An identifier the platform answers as bytes (an open_buffdesc of N bytes,
// or a uint64_t in network order for N = 8), out as hexadecimal text in
// pairs joined by Sep ("80:00:00:11:22:33:44:55"; Sep 0: no separator):
// bridge and port ids, digests, engine ids, MAC addresses as bytes.
template <size_t N, char Sep = ':'>
struct Hex {};
// Seconds since the epoch, out as the local time text
// "%a %Y-%m-%d %H:%M:%S %Z".
struct TimeText {};
// Seconds as four members: K"Day", K"Hour", K"Min", K"Sec" of the object
// the getter answers (a kMerge key): Duration<"lastReset">.
template <Name K>
struct Duration {};
template <int I = 0>
struct NextNum {};
template <int I = 0, size_t N = 255>
struct NextTxt {};
// A record the call fills, turned into an object by its members (see
// Member): Rec<kMembers> with `constexpr Member kMembers[]`.
template <const auto &Members>
struct Rec {};
// Outputs of one call that feed several keys: each goes into the object
// the getter answers (a kMerge key joins its members to the element).
template <Name K>
struct Into {};
template <Name K, size_t N>
struct IntoText {};
// A list of interface numbers (uint32_t) the platform fills into a buffer
// of at most Max: as JSON, an array of {K: number}.
template <Name K = "port", size_t Max = 256>
struct PortArray {};
// A set of numbers (VLAN ids, interface numbers; uint32_t) the platform fills
// into a buffer of at most Max: as JSON, the list notation text ("1-3,5").
template <size_t Max = 4096>
struct NumList {};
// The port a port-set change is about (see replace_ports).
struct CurrentPort {};
template <Name K>
struct Row {};
template <Name K, size_t N>
struct RowText {};
template <Name K>
struct RowIpv4 {};

namespace call_detail {

// The default capacity of a text the platform returns.
inline constexpr size_t kTextCapacity = 255;

// Where a call runs: the element, the value of a setter, the output of a
// getter, the cursor being moved.
struct Context {
  const Element *e;
  Element *moving = nullptr;  // a cursor's element (its index and row)
  json_object *in = nullptr;  // setter input
  json_object **out = nullptr;  // getter output
  uint32_t port = 0;                     // CurrentPort
  std::vector<uint32_t> *ports = nullptr;  // a PortArray read for code, not JSON
};

// Adds `value` under `key` of the object a getter answers.
inline void into(const Context &c, const char *key, json_object *value) {
  if (!c.out) {
    json_object_put(value);
    return;
  }
  if (!*c.out) *c.out = json_object_new_object();
  json_object_object_add(*c.out, key, value);
}

template <typename P>
constexpr bool kIsInteger = std::is_integral_v<P> || std::is_enum_v<P>;

template <typename P, bool = std::is_enum_v<P>>
struct IntegerOf {
  using type = P;
};
template <typename P>
struct IntegerOf<P, true> {
  using type = std::underlying_type_t<P>;
};

// A number the platform answered, as JSON: an unsigned 64-bit counter keeps
// its whole range (past 2^63 too), everything else fits a signed 64-bit number.
template <typename P>
json_object *integer_json(P v) {
  using U = typename IntegerOf<P>::type;
  if constexpr (std::is_unsigned_v<U> && sizeof(U) == 8)
    return json_object_new_uint64(static_cast<U>(v));
  else
    return json_object_new_int64(static_cast<int64_t>(static_cast<U>(v)));
}

template <typename P>
bool to_integer(int64_t v, P &out) {
  using U = typename IntegerOf<P>::type;
  if constexpr (std::is_same_v<U, bool>) {
    if (v != 0 && v != 1) return false;
  } else {
    if (v < static_cast<int64_t>(std::numeric_limits<U>::min())) return false;
    if (std::is_unsigned_v<U> ? static_cast<uint64_t>(v) > std::numeric_limits<U>::max()
                              : v > static_cast<int64_t>(std::numeric_limits<U>::max()))
      return false;
  }
  out = static_cast<P>(static_cast<U>(v));
  return true;
}

bool parse_inet(const char *text, open_inet_addr_t &out);
json_object *inet_json(const open_inet_addr_t &addr);
bool parse_ipv4(const char *text, uint32_t &host_order);
json_object *ipv4_json(uint32_t host_order);

// A text handed to the platform: a zeroed buffer, the size its length
// plus one.
struct TextIn {
  std::string text;
  open_buffdesc desc{0, nullptr};
  void set(std::string t) {
    text = std::move(t);
    desc = {static_cast<uint32_t>(text.size() + 1), text.data()};
  }
};

// A text the platform fills: N characters and the NUL.
template <size_t N>
struct TextOut {
  char buffer[N + 1] = {};
  open_buffdesc desc{N, buffer};
};

// The JSON value a source names, for inputs.
json_object *source_value(const Context &c, const char *key, bool query);

// ---- inputs from JSON values or index parts

template <typename P>
struct InFromJson {
  // P is an integer or enumeration, const open_buffdesc *, open_inet_addr_t
  // or const open_inet_addr_t *.
  using Base = std::remove_cv_t<std::remove_pointer_t<P>>;
  std::conditional_t<std::is_same_v<Base, open_buffdesc>, TextIn, std::conditional_t<std::is_same_v<Base, open_inet_addr_t>, open_inet_addr_t, P>> held{};

  bool load(json_object *v) {
    if constexpr (kIsInteger<P>) {
      int64_t n = 0;
      return read_int(v, n) && to_integer(n, held);
    } else if constexpr (std::is_same_v<Base, open_buffdesc>) {
      std::string t;
      if (!read_text(v, t)) return false;
      held.set(std::move(t));
      return true;
    } else {
      static_assert(std::is_same_v<Base, open_inet_addr_t>, "no conversion from JSON to this parameter");
      std::string t;
      return read_text(v, t) && parse_inet(t.c_str(), held);
    }
  }
  P arg() {
    if constexpr (std::is_same_v<Base, open_buffdesc>)
      return &held.desc;
    else if constexpr (std::is_pointer_v<P>)
      return &held;
    else
      return held;
  }
};

// Out parameters a getter turns into JSON.
template <typename P, size_t N = kTextCapacity>
struct OutToJson {
  using Base = std::remove_pointer_t<P>;
  static_assert(std::is_pointer_v<P> && !std::is_const_v<Base>, "an output needs a pointer parameter");
  std::conditional_t<std::is_same_v<Base, open_buffdesc>, TextOut<N>, Base> held{};
  P arg() {
    if constexpr (std::is_same_v<Base, open_buffdesc>)
      return &held.desc;
    else
      return &held;
  }
  json_object *json() const {
    if constexpr (std::is_same_v<Base, open_buffdesc>)
      return json_object_new_string(held.buffer);
    else if constexpr (std::is_same_v<Base, open_inet_addr_t>)
      return inet_json(held);
    else if constexpr (kIsInteger<Base>)
      return integer_json(held);
    else
      static_assert(sizeof(Base) == 0, "no conversion from this parameter to JSON");
  }
};

// ---- one argument: a source and the parameter it feeds

template <typename Src, typename P>
struct Arg;

// Val: the setter's input, or the getter's output.
template <typename P>
struct Arg<Val, P> {
  static constexpr bool kOut = std::is_pointer_v<P> && !std::is_const_v<std::remove_pointer_t<P>>;
  std::conditional_t<kOut, OutToJson<P>, InFromJson<P>> a;
  bool load(const Context &c) {
    if constexpr (kOut)
      return true;
    else
      return a.load(c.in);
  }
  P arg() { return a.arg(); }
  void store(const Context &c) {
    if constexpr (kOut)
      if (c.out) *c.out = a.json();
  }
};

template <size_t N, typename P>
struct Arg<ValText<N>, P> {
  OutToJson<P, N> a;
  bool load(const Context &) { return true; }
  P arg() { return a.arg(); }
  void store(const Context &c) {
    if (c.out) *c.out = a.json();
  }
};

template <typename P>
struct InArg {
  InFromJson<P> a;
  P arg() { return a.arg(); }
  void store(const Context &) {}
};

template <Name K, typename P>
struct Arg<Key<K>, P> : InArg<P> {
  bool load(const Context &c) { return this->a.load(source_value(c, K.text, false)); }
};

template <Name K, typename P>
struct Arg<Q<K>, P> : InArg<P> {
  bool load(const Context &c) { return this->a.load(source_value(c, K.text, true)); }
};

template <int I, typename P>
struct Arg<Idx<I>, P> {
  P held{};
  bool load(const Context &c) {
    static_assert(kIsInteger<P>, "an index number feeds an integer parameter");
    static_assert(I >= 0 && I < static_cast<int>(Index::kParts), "an index has at most Index::kParts numbers");
    const Element *e = c.moving ? c.moving : c.e;
    return to_integer(static_cast<int64_t>(e->index.num[I]), held);
  }
  P arg() { return held; }
  void store(const Context &) {}
};

template <int I, size_t N, typename P>
struct Arg<Txt<I, N>, P> {
  static_assert(I >= 0 && I < static_cast<int>(Index::kTexts), "an index has at most Index::kTexts texts");
  TextIn held;
  bool load(const Context &c) {
    const std::string &t = c.moving ? c.moving->index.text[I] : c.e->index.text[I];
    held.set(N ? t.substr(0, N) : t);
    return true;
  }
  P arg() { return &held.desc; }
  void store(const Context &) {}
};

template <int64_t V, typename P>
struct Arg<Lit<V>, P> {
  P held{};
  bool load(const Context &) { return to_integer(V, held); }
  P arg() { return held; }
  void store(const Context &) {}
};

template <Name T, typename P>
struct Arg<LitText<T>, P> {
  static_assert(std::is_same_v<P, const open_buffdesc *>, "a constant text feeds a text parameter");
  TextIn held;
  bool load(const Context &) {
    held.set(T.text);
    return true;
  }
  P arg() { return &held.desc; }
  void store(const Context &) {}
};

template <typename P>
struct Arg<Skip, P> {
  OutToJson<P> a;
  bool load(const Context &) { return true; }
  P arg() { return a.arg(); }
  void store(const Context &) {}
};

// Mask texts and prefix lengths (false for a text that is no contiguous
// mask); seconds split into days, hours, minutes and seconds.
bool mask_prefix(const std::string &text, uint32_t &prefix_len);
json_object *mask_json(uint32_t prefix_len);
void duration_into(const Context &c, const char *prefix, uint64_t seconds);

// The JSON value a text-converted source reads: the setter's value, another
// member or a query variable.
template <Name K>
json_object *text_source_of(const Context &c, Key<K>) { return source_value(c, K.text, false); }
template <Name K>
json_object *text_source_of(const Context &c, Q<K>) { return source_value(c, K.text, true); }
template <typename S>
json_object *text_source(const Context &c) {
  if constexpr (std::is_same_v<S, Val>) return c.in;
  else return text_source_of(c, S{});
}

// A number handed to the platform as a text converted on the way in
// (P a value) and answered as a text on the way out (P a pointer);
// Convert::parse and Convert::json are the two ways.
template <typename S, typename P, typename Convert>
struct ConvertedArg {
  std::remove_pointer_t<P> held{};
  bool load(const Context &c) {
    if constexpr (std::is_pointer_v<P>) {
      return true;
    } else {
      std::string t;
      return read_text(text_source<S>(c), t) && Convert::parse(t, held);
    }
  }
  P arg() {
    if constexpr (std::is_pointer_v<P>)
      return &held;
    else
      return held;
  }
  void store(const Context &c) {
    if constexpr (std::is_pointer_v<P>)
      if (c.out) *c.out = Convert::json(held);
  }
};

// A dotted address as a host-order uint32_t.
struct Ipv4Text {
  static bool parse(const std::string &t, uint32_t &held) { return parse_ipv4(t.c_str(), held); }
  static json_object *json(uint32_t held) { return ipv4_json(held); }
};
// A dotted mask as a prefix length.
struct MaskText {
  template <typename H>
  static bool parse(const std::string &t, H &held) {
    uint32_t prefix = 0;
    return mask_prefix(t, prefix) && to_integer(prefix, held);
  }
  template <typename H>
  static json_object *json(H held) {
    return mask_json(static_cast<uint32_t>(held));
  }
};

template <typename S, typename P>
struct Arg<Ipv4<S>, P> : ConvertedArg<S, P, Ipv4Text> {};
template <typename S, typename P>
struct Arg<Mask<S>, P> : ConvertedArg<S, P, MaskText> {
  static_assert(kIsInteger<std::remove_pointer_t<P>>, "a prefix length is a number");
};

json_object *hex_json(const uint8_t *bytes, size_t n, char separator);
json_object *time_json(int64_t seconds);

template <size_t N, char Sep, typename P>
struct Arg<Hex<N, Sep>, P> {
  static constexpr bool kBuffer = std::is_same_v<P, open_buffdesc *>;
  static_assert(kBuffer || (std::is_same_v<P, uint64_t *> && N == 8), "an identifier comes as bytes or a uint64_t");
  uint8_t bytes[N] = {};
  uint64_t number = 0;
  open_buffdesc desc{N, bytes};
  bool load(const Context &) { return true; }
  P arg() {
    if constexpr (kBuffer)
      return &desc;
    else
      return &number;
  }
  void store(const Context &c) {
    if (!c.out) return;
    if constexpr (!kBuffer)
      for (size_t i = 0; i < N; ++i) bytes[i] = static_cast<uint8_t>(number >> (8 * (N - 1 - i)));
    *c.out = hex_json(bytes, kBuffer ? std::min<size_t>(desc.size, N) : N, Sep);
  }
};

template <typename P>
struct Arg<TimeText, P> {
  static_assert(std::is_pointer_v<P> && kIsInteger<std::remove_pointer_t<P>>, "a time is a number of seconds out");
  std::remove_pointer_t<P> held{};
  bool load(const Context &) { return true; }
  P arg() { return &held; }
  void store(const Context &c) {
    if (c.out) *c.out = time_json(static_cast<int64_t>(held));
  }
};

template <Name K, typename P>
struct Arg<Duration<K>, P> {
  static_assert(std::is_pointer_v<P> && kIsInteger<std::remove_pointer_t<P>>, "a duration is a number of seconds out");
  std::remove_pointer_t<P> held{};
  bool load(const Context &) { return true; }
  P arg() { return &held; }
  void store(const Context &c) { duration_into(c, K.text, static_cast<uint64_t>(held)); }
};

// A record member read as a number.
json_object *member_json(const void *record, const Member &m);

template <const auto &Members, typename P>
struct Arg<Rec<Members>, P> {
  std::remove_pointer_t<P> held{};
  bool load(const Context &) { return true; }
  P arg() { return &held; }
  void store(const Context &c) {
    if (!c.out) return;
    json_object *o = json_object_new_object();
    for (const Member &m : Members) json_object_object_add(o, m.key, member_json(&held, m));
    *c.out = o;
  }
};

template <Name K, typename P>
struct Arg<Into<K>, P> {
  OutToJson<P> a;
  bool load(const Context &) { return true; }
  P arg() { return a.arg(); }
  void store(const Context &c) { into(c, K.text, a.json()); }
};

template <Name K, size_t N, typename P>
struct Arg<IntoText<K, N>, P> {
  OutToJson<P, N> a;
  bool load(const Context &) { return true; }
  P arg() { return a.arg(); }
  void store(const Context &c) { into(c, K.text, a.json()); }
};

template <Name K, size_t Max, typename P>
struct Arg<PortArray<K, Max>, P> {
  static_assert(std::is_same_v<P, open_buffdesc *>, "a port list comes in an open_buffdesc");
  uint32_t held[Max] = {};
  open_buffdesc desc{sizeof held, held};
  bool load(const Context &) { return true; }
  P arg() { return &desc; }
  void store(const Context &c) {
    size_t n = std::min<size_t>(desc.size / sizeof(uint32_t), Max);
    if (c.ports) {
      c.ports->assign(held, held + n);
      return;
    }
    if (!c.out) return;
    json_object *list = json_object_new_array();
    for (size_t i = 0; i < n; ++i) {
      json_object *o = json_object_new_object();
      json_object_object_add(o, K.text, json_object_new_int64(held[i]));
      json_object_array_add(list, o);
    }
    *c.out = list;
  }
};

// The numbers of a NumList as the list notation ("1-3,5,7").
json_object *number_list_json(const uint32_t *numbers, size_t count);

template <size_t Max, typename P>
struct Arg<NumList<Max>, P> {
  static_assert(std::is_same_v<P, open_buffdesc *>, "a number list comes in an open_buffdesc");
  std::vector<uint32_t> held = std::vector<uint32_t>(Max);
  open_buffdesc desc{static_cast<uint32_t>(Max * sizeof(uint32_t)), held.data()};
  bool load(const Context &) { return true; }
  P arg() { return &desc; }
  void store(const Context &c) {
    size_t n = std::min<size_t>(desc.size / sizeof(uint32_t), Max);
    if (c.ports) {
      c.ports->assign(held.begin(), held.begin() + static_cast<std::ptrdiff_t>(n));
      return;
    }
    if (c.out) *c.out = number_list_json(held.data(), n);
  }
};

template <typename P>
struct Arg<CurrentPort, P> {
  P held{};
  bool load(const Context &c) { return to_integer(static_cast<int64_t>(c.port), held); }
  P arg() { return held; }
  void store(const Context &) {}
};

// ---- cursor arguments

template <int I, typename P>
struct Arg<NextNum<I>, P> {
  static_assert(I >= 0 && I < static_cast<int>(Index::kParts), "an index has at most Index::kParts numbers");
  std::remove_pointer_t<P> held{};
  bool load(const Context &) { return true; }
  P arg() { return &held; }
  void store(const Context &c) {
    c.moving->index.num[I] = static_cast<uint32_t>(held);
    c.moving->index.nums = std::max<uint8_t>(c.moving->index.nums, I + 1);
  }
};

template <int I, size_t N, typename P>
struct Arg<NextTxt<I, N>, P> {
  static_assert(I >= 0 && I < static_cast<int>(Index::kTexts), "an index has at most Index::kTexts texts");
  TextOut<N> held;
  bool load(const Context &) { return true; }
  P arg() { return &held.desc; }
  void store(const Context &c) {
    c.moving->index.text[I] = held.buffer;
    c.moving->index.texts = std::max<uint8_t>(c.moving->index.texts, I + 1);
  }
};

template <Name K, typename P>
struct Arg<Row<K>, P> {
  OutToJson<P> a;
  bool load(const Context &) { return true; }
  P arg() { return a.arg(); }
  void store(const Context &c) { json_object_object_add(c.moving->row, K.text, a.json()); }
};

template <Name K, size_t N, typename P>
struct Arg<RowText<K, N>, P> {
  OutToJson<P, N> a;
  bool load(const Context &) { return true; }
  P arg() { return a.arg(); }
  void store(const Context &c) { json_object_object_add(c.moving->row, K.text, a.json()); }
};

template <Name K, typename P>
struct Arg<RowIpv4<K>, P> {
  uint32_t held = 0;
  bool load(const Context &) { return true; }
  P arg() { return &held; }
  void store(const Context &c) { json_object_object_add(c.moving->row, K.text, ipv4_json(held)); }
};

// ---- the call

template <typename... S>
struct Sources {};

// A source's own failure, where it has one (a lookup that failed), else `rc`.
template <typename A>
int load_failure(const A &a, int rc) {
  if constexpr (requires { a.status; })
    return a.status != OPEN_E_NONE ? a.status : rc;
  else
    return rc;
}

template <auto Fn, typename Sig, typename Srcs>
struct Call;
template <auto Fn, typename... P, typename... S>
struct Call<Fn, open_error_t (*)(openapiClientHandle_t *, P...), Sources<S...>> {
  static_assert(sizeof...(P) == sizeof...(S), "one source per parameter of the platform call");
  static int run(const Context &c) {
    std::tuple<Arg<S, P>...> args;
    bool loaded = std::apply([&](auto &...a) { return (a.load(c) && ... && true); }, args);
    if (!loaded) {
      int rc = OPEN_E_PARAM;
      std::apply([&](auto &...a) { ((rc = load_failure(a, rc)), ...); }, args);
      return rc;
    }
    int rc = std::apply([&](auto &...a) { return Fn(&g_client_handle, a.arg()...); }, args);
    if (rc == OPEN_E_NONE) std::apply([&](auto &...a) { (a.store(c), ...); }, args);
    return rc;
  }
};

template <auto Fn, typename... S>
using CallOf = Call<Fn, std::decay_t<decltype(Fn)>, Sources<S...>>;

// A Lookup argument: what Fn(client, sources..., &out) answers. Its failure
// is the call's result (a VLAN without routing interface: OPEN_E_NOT_FOUND).
template <auto Fn, typename... S, typename P>
struct Arg<Lookup<Fn, S...>, P> {
  static_assert(kIsInteger<P>, "a looked-up argument feeds an integer parameter");
  P held{};
  int status = OPEN_E_NONE;
  bool load(const Context &c) {
    json_object *v = nullptr;
    status = CallOf<Fn, S..., Val>::run({.e = c.e, .moving = c.moving, .out = &v});
    int64_t n = 0;
    bool ok = status == OPEN_E_NONE && read_int(v, n) && to_integer(n, held);
    json_object_put(v);
    return ok;
  }
  P arg() { return held; }
  void store(const Context &) {}
};

template <typename F>
struct Arity;
template <typename... P>
struct Arity<open_error_t (*)(openapiClientHandle_t *, P...)> {
  static constexpr size_t value = sizeof...(P);
};

// ---- what a binding tells of itself (the start-up check, default log texts)

template <typename S>
struct Describe {
  static constexpr SourceRef ref{};
};
template <>
struct Describe<Val> {
  static constexpr SourceRef ref{SourceKind::Value};
};
template <size_t N>
struct Describe<ValText<N>> {
  static constexpr SourceRef ref{SourceKind::Value};
};
template <int I>
struct Describe<Idx<I>> {
  static constexpr SourceRef ref{SourceKind::Index, nullptr, I};
};
template <int I, size_t N>
struct Describe<Txt<I, N>> {
  static constexpr SourceRef ref{SourceKind::IndexText, nullptr, I};
};
template <Name K>
struct Describe<Key<K>> {
  static constexpr SourceRef ref{SourceKind::Member, K.text};
};
template <Name K>
struct Describe<Q<K>> {
  static constexpr SourceRef ref{SourceKind::Query, K.text};
};
template <typename S>
struct Describe<Mask<S>> {
  static constexpr SourceRef ref = std::is_same_v<S, Val> ? SourceRef{SourceKind::Value} : Describe<S>::ref;
};
template <auto Fn, typename S0, typename... S>
struct Describe<Lookup<Fn, S0, S...>> {
  static constexpr SourceRef ref = Describe<S0>::ref;  // what the lookup reads of the element
};
template <typename S>
struct Describe<Ipv4<S>> {
  static constexpr SourceRef ref = std::is_same_v<S, Val> ? SourceRef{SourceKind::Value} : Describe<S>::ref;
};

template <typename... S>
inline constexpr SourceRef kSources[sizeof...(S) + 1] = {Describe<S>::ref..., SourceRef{}};

template <auto Fn>
const char *call_name() {
  return rpc::stub_name(reinterpret_cast<const void *>(Fn));
}

template <auto Fn, typename... S>
constexpr Binding binding_of() {
  return {&call_name<Fn>, kSources<S...>, static_cast<uint8_t>(sizeof...(S))};
}

template <auto Fn, typename... S>
int run_get(const Element &e, json_object **out) {
  return CallOf<Fn, S...>::run({.e = &e, .out = out});
}
template <int64_t Absent, auto Fn, typename... S>
int run_get_or(const Element &e, json_object **out) {
  int rc = CallOf<Fn, S...>::run({.e = &e, .out = out});
  if (rc != OPEN_E_NOT_FOUND) return rc;
  *out = json_object_new_int64(Absent);
  return OPEN_E_NONE;
}
template <auto Fn, typename... S>
int run_set(const Element &e, json_object *value) {
  return CallOf<Fn, S...>::run({.e = &e, .in = value});
}
template <auto Fn, typename... S>
int run_act(const Element &e) {
  return CallOf<Fn, S...>::run({.e = &e});
}

}  // namespace call_detail

// A getter, setter or action of one platform call with its sources. Each is
// a binding the start-up check can read (its call and what its sources
// name) and a callable: set<&Fn, Idx<0>, Val>(e, value).
template <auto Fn, typename... S>
inline constexpr GetBinding get{call_detail::run_get<Fn, S...>, call_detail::binding_of<Fn, S...>()};
// A getter whose call answers OPEN_E_NOT_FOUND for an element that has no
// such value (a VLAN without a routing interface): the key is then
// `Absent`, and the walk goes on.
template <int64_t Absent, auto Fn, typename... S>
inline constexpr GetBinding get_or{call_detail::run_get_or<Absent, Fn, S...>, call_detail::binding_of<Fn, S...>()};
template <auto Fn, typename... S>
inline constexpr SetBinding set{call_detail::run_set<Fn, S...>, call_detail::binding_of<Fn, S...>()};
template <auto Fn, typename... S>
inline constexpr ActBinding act{call_detail::run_act<Fn, S...>, call_detail::binding_of<Fn, S...>()};

namespace call_detail {
template <auto Fn, size_t N>
constexpr GetBinding common_get() {
  if constexpr (Arity<std::decay_t<decltype(Fn)>>::value == 1)
    return get<Fn, ValText<N>>;
  else
    return get<Fn, Idx<0>, ValText<N>>;
}
template <auto Fn>
constexpr SetBinding common_set() {
  if constexpr (Arity<std::decay_t<decltype(Fn)>>::value == 1)
    return set<Fn, Val>;
  else
    return set<Fn, Idx<0>, Val>;
}
}  // namespace call_detail

// The common shapes: (client, T *) and (client, index, T *), or with a
// text of at most N characters.
template <auto Fn, size_t N = call_detail::kTextCapacity>
inline constexpr GetBinding platform_get = call_detail::common_get<Fn, N>();
template <auto Fn>
inline constexpr SetBinding platform_set = call_detail::common_set<Fn>();

// A cursor of one call: its In sources name the current entry (index parts
// are zero or empty before the first), its Next sources take the next one.
template <auto Fn, typename... S>
int cursor(Element &e, bool) {
  return call_detail::CallOf<Fn, S...>::run({.e = &e, .moving = &e});
}
// A cursor with a first call of its own.
template <Cursor First, Cursor Next>
int cursor2(Element &e, bool first) {
  return first ? First(e, true) : Next(e, false);
}

namespace call_detail {
template <Name K>
int row_value(const Element &e, json_object **out) {
  json_object *v = nullptr;
  if (!e.row || !json_object_object_get_ex(e.row, K.text, &v)) return OPEN_E_NOT_FOUND;
  *out = json_object_get(v);
  return OPEN_E_NONE;
}
template <Name K>
int query_value(const Element &e, json_object **out) {
  json_object *v = e.query_value(K.text);
  if (!v) return OPEN_E_NOT_FOUND;
  *out = json_object_get(v);
  return OPEN_E_NONE;
}
template <Name K>
inline constexpr SourceRef kQuerySource[2] = {{SourceKind::Query, K.text}, {}};
}  // namespace call_detail

// A getter of a value the walk's cursor kept in the element's row.
template <Name K>
inline constexpr GetBinding from_row{call_detail::row_value<K>};

namespace call_detail {
template <auto Fn, int64_t Min, typename Sig>
struct Limits;
template <auto Fn, int64_t Min, typename A, typename B>
struct Limits<Fn, Min, open_error_t (*)(openapiClientHandle_t *, A *, B *)> {
  static int run(int64_t &min, int64_t &max) {
    A a{};
    B b{};
    int rc = Fn(&g_client_handle, &a, &b);
    if (rc == OPEN_E_NONE) {
      min = static_cast<int64_t>(a);
      max = static_cast<int64_t>(b);
    }
    return rc;
  }
};
template <auto Fn, int64_t Min, typename A>
struct Limits<Fn, Min, open_error_t (*)(openapiClientHandle_t *, A *)> {
  static int run(int64_t &min, int64_t &max) {
    A a{};
    int rc = Fn(&g_client_handle, &a);
    if (rc == OPEN_E_NONE) {
      min = Min;
      max = static_cast<int64_t>(a);
    }
    return rc;
  }
};
}  // namespace call_detail

// A getter of a query variable of the request (a Single or scalar
// resource listing what it was asked for).
template <Name K>
inline constexpr GetBinding from_query{call_detail::query_value<K>, Binding{nullptr, call_detail::kQuerySource<K>, 1}};

// Makes a set what `wanted` lists: `remove(n)` for each number of `current`
// not wanted, then `add(n)` once for each wanted number missing (removing
// first lets a full set of a bounded table be exchanged); the first failing
// call ends it with its result.
template <typename Add, typename Remove>
int replace_set(const std::vector<uint32_t> &current, const std::vector<uint32_t> &wanted, Add add, Remove remove) {
  for (uint32_t n : current)
    if (std::find(wanted.begin(), wanted.end(), n) == wanted.end())
      if (int rc = remove(n)) return rc;
  for (auto n = wanted.begin(); n != wanted.end(); ++n)
    if (std::find(current.begin(), current.end(), *n) == current.end() && std::find(wanted.begin(), n, *n) == n)
      if (int rc = add(*n)) return rc;
  return OPEN_E_NONE;
}

// The ports of an array [{"port": n}, ...] (after port_list_check).
std::vector<uint32_t> ports_of(json_object *list, const char *key = "port");
// A check of such an array: every element an object whose "port" passes
// the port validator (kind 3): "Port validation failed", errCode 247 and
// {"port_id": id} otherwise.
bool port_list_check(Outcome &out, const char *key, json_object *value);
// The same with the port validator's `kind` and the table's text `log`.
bool port_list_check(Outcome &out, const char *key, json_object *value, int kind, const char *log);
template <int Kind, Name Log>
bool port_list_check_of(Outcome &out, const char *key, json_object *value) {
  return port_list_check(out, key, value, Kind, Log.text);
}

// A setter that makes a set of ports what the value lists: it reads the
// current set with ListGet(client, keys..., list), removes each port not
// listed with Remove(client, keys..., ifNum) and adds each missing one with
// Add(client, keys..., ifNum) (replace_set); the first failing call ends it.
namespace call_detail {
template <auto ListGet, auto Add, auto Remove, typename... KeySrc>
int replace_port_set(const Element &e, json_object *value) {
  std::vector<uint32_t> current;
  Context c{.e = &e, .ports = &current};
  if (int rc = CallOf<ListGet, KeySrc..., PortArray<>>::run(c)) return rc;
  auto change = [&c](auto call) {
    return [&c, call](uint32_t port) {
      c.port = port;
      return call(c);
    };
  };
  return replace_set(current, ports_of(value), change(&CallOf<Add, KeySrc..., CurrentPort>::run),
                     change(&CallOf<Remove, KeySrc..., CurrentPort>::run));
}
}  // namespace call_detail
template <auto ListGet, auto Add, auto Remove, typename... KeySrc>
inline constexpr SetBinding replace_ports{call_detail::replace_port_set<ListGet, Add, Remove, KeySrc...>,
                                          call_detail::binding_of<Add, KeySrc...>()};

// The numbers a list call answers (a NumList or a PortArray at the end of
// its sources), for code: numbers_of<&Fn, Idx<0>, NumList<>>(e, vlans).
template <auto Fn, typename... S>
int numbers_of(const Element &e, std::vector<uint32_t> &out) {
  out.clear();
  return call_detail::CallOf<Fn, S...>::run({.e = &e, .ports = &out});
}

// Platform limits as a LimitsFn: from (client, T *min, T *max), or from
// (client, T *max) with the minimum `Min`.
template <auto Fn, int64_t Min = 0>
int platform_limits(int64_t &min, int64_t &max) {
  return call_detail::Limits<Fn, Min, std::decay_t<decltype(Fn)>>::run(min, max);
}

}  // namespace veltrum::handler
