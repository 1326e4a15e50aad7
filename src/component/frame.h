// kp160std — entry functions produced from syntax declarations.
//
// A syntax is declared once, as the implementation to call and the type codes
// of its result and parameters:
//
//   kp::Syntax<IsEven, KL_T_BOOL, KL_T_INT>()
//   kp::Syntax<[](ExecContext* c, int32_t n) { return IntegerToDate(c, n, {}); },
//              KL_T_TEXT, KL_T_INT>()            // shorter syntax: fixed default
//   kp::Unavailable<KL_T_TEXT, KL_T_INT>()       // declared, nothing to call here
//
// The same declaration fills the syntax record, its parameter descriptor and
// produces the entry function: one instantiation per syntax, so each syntax
// has its own entry function and the table cannot disagree with the code:
// an implementation whose parameter or result types are not those of the
// declared codes does not compile (tests/compile/ shows it).
//
// Parameter codes map to C++ types as follows: 1 bool; 8 and 0x8008 int32_t;
// 9 int64_t; 10 kp::Currency; 12 double; 0x12, 0x50 and 0x8050 std::u16string_view (null is empty);
// 28 std::span<const uint8_t>; 0x1f kp::VariantArg. Result codes: 0 void;
// 1 bool; 8 int32_t; 9 int64_t; 10 kp::Currency; 12 double; 14/15 kp::Handle;
// 19 std::u16string, or std::u16string_view of characters that outlive the
// call (a handle's line buffer: no string made only to be copied again);
// 27 kp::Duration; 28 kp::Bytes; 0x1f kp::Value.
//
// Thread-safety: entry functions keep no state and may run on any VM thread.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <new>
#include <span>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>

#include "abi/error.h"
#include "abi/strings.h"
#include "abi/value.h"
#include "abi/vm.h"
#include "kp160std/abi.h"

namespace kp {

namespace frame {

constexpr uint32_t Plain(uint32_t code) { return code & ~uint32_t{KL_T_FLAG_8000}; }

template <uint32_t Code>
struct Param;

template <>
struct Param<KL_T_INT> {
  static int32_t Read(void* cell) {
    int32_t v;
    std::memcpy(&v, cell, sizeof v);
    return v;
  }
};
template <>
struct Param<KL_T_BOOL> {
  static bool Read(void* cell) { return Param<KL_T_INT>::Read(cell) != 0; }
};
template <>
struct Param<KL_T_INT64> {
  static int64_t Read(void* cell) {
    int64_t v;
    std::memcpy(&v, cell, sizeof v);  // low word first, as on the VM's targets
    return v;
  }
};
template <>
struct Param<KL_T_REAL> {
  static double Read(void* cell) {
    double v;
    std::memcpy(&v, cell, sizeof v);
    return v;
  }
};
template <>
struct Param<KL_T_CURRENCY> {
  // The 8-byte value, then the signed 16-bit word right after it.
  static Currency Read(void* cell) {
    Currency c;
    std::memcpy(&c.value, cell, sizeof c.value);
    std::memcpy(&c.scale, static_cast<const uint8_t*>(cell) + 8, sizeof c.scale);
    return c;
  }
};
template <>
struct Param<KL_T_TEXT_CELL> {
  static std::u16string_view Read(void* cell) { return View(*static_cast<const kl_char* const*>(cell)); }
};
template <>
struct Param<KL_T_TEXT_DIRECT> {
  static std::u16string_view Read(void* element) { return View(static_cast<const kl_char*>(element)); }
};
template <>
struct Param<KL_T_BUFFER> {
  static std::span<const uint8_t> Read(void* cell) { return HolderBytes(*static_cast<KLStringHolder*>(cell)); }
};
template <>
struct Param<KL_T_VARIANT> {
  static VariantArg Read(void* cell) { return VariantArg{static_cast<KLVariant*>(cell)}; }
};

template <uint32_t Code>
struct Result;

template <uint32_t Code, typename T>
struct ScalarResult {
  static void Hand(CallContext* call, ExecContext* context, T value) {
    call->vm->ops->SetResult(call->vm, call->resultHandle, &value, Code);
  }
};
template <>
struct Result<KL_T_BOOL> {
  static void Hand(CallContext* call, ExecContext* context, bool value) {
    ScalarResult<KL_T_BOOL, int32_t>::Hand(call, context, value ? 1 : 0);
  }
};
template <>
struct Result<KL_T_INT> : ScalarResult<KL_T_INT, int32_t> {};
template <>
struct Result<KL_T_INT64> : ScalarResult<KL_T_INT64, int64_t> {};
template <>
struct Result<KL_T_REAL> : ScalarResult<KL_T_REAL, double> {};
template <>
struct Result<KL_T_INSTANCE> {
  static void Hand(CallContext* call, ExecContext* context, Handle h) {
    ScalarResult<KL_T_INSTANCE, uint32_t>::Hand(call, context, h.value);
  }
};
template <>
struct Result<KL_T_WINDOW> {
  static void Hand(CallContext* call, ExecContext* context, Handle h) {
    ScalarResult<KL_T_WINDOW, uint32_t>::Hand(call, context, h.value);
  }
};
template <>
struct Result<KL_T_DURATION> {
  static void Hand(CallContext* call, ExecContext* context, Duration d) {
    ScalarResult<KL_T_DURATION, int64_t>::Hand(call, context, d.milliseconds);
  }
};
template <>
struct Result<KL_T_CURRENCY> {
  static void Hand(CallContext* call, ExecContext* context, Currency c) {
    KLCurrency cell{c.value, c.scale};
    call->vm->ops->SetResult(call->vm, call->resultHandle, &cell, KL_T_CURRENCY);
  }
};
template <>
struct Result<KL_T_TEXT> {
  static void Hand(CallContext* call, ExecContext* context, std::u16string_view text) {
    // An empty text is still handed over: a null holder is a valid empty text.
    HolderCell cell(MakeTextHolder(text));
    call->vm->ops->SetResult(call->vm, call->resultHandle, cell.address(), KL_T_TEXT);
  }
};
template <>
struct Result<KL_T_BUFFER> {
  static void Hand(CallContext* call, ExecContext* context, const Bytes& bytes) {
    HolderCell cell(MakeBytesHolder(bytes));
    call->vm->ops->SetResult(call->vm, call->resultHandle, cell.address(), KL_T_BUFFER);
  }
};
template <>
struct Result<KL_T_VARIANT> {
  static void Hand(CallContext* call, ExecContext* context, const Value& value) { HandVariant(call, context, value); }
};

template <auto Impl, uint32_t R, uint32_t... P>
int32_t KL_CALL Entry(CallContext* call, ExecContext* context, void** arguments) {
  static constexpr std::array<uint32_t, sizeof...(P) + 1> codes{Plain(P)..., 0};
  try {
    [&]<size_t... I>(std::index_sequence<I...>) {
      if constexpr (R == KL_T_NONE) {
        Impl(context, Param<codes[I]>::Read(arguments[I])...);
      } else {
        Result<R>::Hand(call, context, Impl(context, Param<codes[I]>::Read(arguments[I])...));
      }
    }(std::make_index_sequence<sizeof...(P)>{});
  } catch (const std::bad_alloc&) {
    RaiseOutOfMemory(context);
  } catch (...) {
    RaiseInternal(context);
  }
  return 0;  // errors never travel through the return value
}

// The C++ type an implementation takes for parameter code P and returns for
// result code R, read off the Param and Result readers above so that the
// check below and the conversion can never disagree.
template <uint32_t P>
using ParamType = decltype(Param<Plain(P)>::Read(nullptr));

template <typename Hand>
struct HandArg;
template <typename T>
struct HandArg<void (*)(CallContext*, ExecContext*, T)> {
  using type = std::remove_cvref_t<T>;
};
template <uint32_t R>
struct ResultOf {
  using type = typename HandArg<decltype(&Result<R>::Hand)>::type;
};
template <>
struct ResultOf<KL_T_NONE> {
  using type = void;
};
template <>
struct ResultOf<KL_T_TEXT> {
  using type = std::u16string;
};
// Whether an implementation's result type T is the one of code R; a text
// may also come as a view (see the table at the top).
template <uint32_t R, typename T>
inline constexpr bool kResultFits = std::is_same_v<T, typename ResultOf<R>::type>;
template <typename T>
inline constexpr bool kResultFits<KL_T_TEXT, T> =
    std::is_same_v<T, std::u16string> || std::is_same_v<T, std::u16string_view>;

// The signature of an implementation: a function or a lambda without captures.
template <typename F>
struct Signature : Signature<decltype(&F::operator())> {};
template <typename Ret, typename... Args>
struct Signature<Ret (*)(Args...)> {
  using result = Ret;
  using params = std::tuple<std::remove_cvref_t<Args>...>;
};
template <typename Ret, typename... Args>
struct Signature<Ret(Args...)> : Signature<Ret (*)(Args...)> {};
template <typename C, typename Ret, typename... Args>
struct Signature<Ret (C::*)(Args...) const> : Signature<Ret (*)(Args...)> {};

template <auto Impl, uint32_t R, uint32_t... P>
constexpr bool CheckDeclaration() {
  using S = Signature<std::remove_pointer_t<decltype(Impl)>>;
  static_assert(std::is_same_v<typename S::params, std::tuple<ExecContext*, ParamType<P>...>>,
                "the implementation's parameters are not the C++ types of the declared parameter codes "
                "(ExecContext* first; see the table at the top of frame.h)");
  static_assert(kResultFits<R, typename S::result>,
                "the implementation's result is not the C++ type of the declared result code "
                "(see the table at the top of frame.h)");
  return true;
}

}  // namespace frame

template <uint32_t R, uint32_t... P>
inline constexpr uint32_t kDescriptor[] = {R, P..., 0};

// Refuses to compile when Impl's types are not those of R and P...: the
// declaration is what the VM reads, so a silent conversion would be a lie.
template <auto Impl, uint32_t R, uint32_t... P>
constexpr KLSyntax Syntax() {
  static_assert(frame::CheckDeclaration<Impl, R, P...>());
  return KLSyntax{&frame::Entry<Impl, R, P...>, 0, kDescriptor<R, P...>, sizeof...(P)};
}

template <uint32_t R, uint32_t... P>
constexpr KLSyntax Unavailable() {
  return KLSyntax{nullptr, 0, kDescriptor<R, P...>, sizeof...(P)};
}

}  // namespace kp
