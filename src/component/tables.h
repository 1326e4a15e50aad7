// kp160std — the declaration tables handed to the VM by InfoComposante.
//
// Constant data, read by the VM and never written. The function table's order
// is global and fixed: it lives in one list (function_table.cpp) that points
// at the syntax arrays each family declares (component/syntaxes/).
#pragma once

#include "kp160std/abi.h"

// The second, internal entry of InfoComposante: ignores its first argument
// and forwards the rest unchanged. Not one of the exports.
extern "C" uintptr_t KL_CALL InfoComposanteEx(uintptr_t ignored, uint32_t selector, uint32_t index);

namespace kp {

const KLFunctionRow* FunctionTable();
const KLConstantRow* ConstantTable();
const KLVariableRow* VariableTable();
const char* const* TypeNameTable();
// Selector 29 hands out the address of the pointer to the descriptors.
const KLTypeDescriptor* const* TypeDescriptorTableAddress();

// Flags of the function rows: most rows carry 0x10000; rows without any
// implementation here carry 0x200 as well.
constexpr uint32_t kFunctionFlags = 0x10000;
constexpr uint32_t kFunctionFlagsUnavailable = 0x10200;

}  // namespace kp
