// kp160std — the declaration tables handed to the VM by InfoComposante.
//
// Constant data, read by the VM and never written. The function table's order
// is global and fixed: it lives in one list (function_table.cpp) that points
// at the syntax arrays each family declares (component/syntaxes/).
//
// Thread-safety: constant data; any thread.
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

// Flags of the function rows, as the VM's declaration tool set them: part of
// the table's data, kept as they are whether or not a function has an
// implementation on a platform (implementing one does not change its row).
// Most rows carry 0x10000; some carry 0x200 as well (in the original tables,
// with three exceptions, the rows that had no implementation).
constexpr uint32_t kFunctionFlags = 0x10000;
constexpr uint32_t kFunctionFlagsBit200 = 0x10200;

}  // namespace kp
