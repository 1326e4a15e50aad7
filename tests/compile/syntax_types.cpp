// Compiled, never run: each KP_CASE holds a syntax whose implementation's
// types differ from its declaration, and must not compile (see the tests
// declared beside it in tests/CMakeLists.txt). Without KP_CASE it compiles.
#include "component/frame.h"

#if KP_CASE == 1
// The result is an int64_t where the declaration says a 32-bit integer.
constexpr KLSyntax kWrongResult = kp::Syntax<[](ExecContext*, int32_t n) { return int64_t{n}; }, KL_T_INT, KL_T_INT>();
#elif KP_CASE == 2
// The parameter is taken as an int64_t where the declaration says a 32-bit integer.
constexpr KLSyntax kWrongParameter = kp::Syntax<[](ExecContext*, int64_t n) { return int32_t(n); }, KL_T_INT, KL_T_INT>();
#elif KP_CASE == 3
// A text parameter taken as a std::u16string copy instead of the view.
constexpr KLSyntax kWrongText =
    kp::Syntax<[](ExecContext*, std::u16string t) { return t.empty(); }, KL_T_BOOL, KL_T_TEXT_CELL>();
#else
constexpr KLSyntax kRight = kp::Syntax<[](ExecContext*, int32_t n) { return n; }, KL_T_INT, KL_T_INT>();
#endif

int main() { return 0; }
