/*
 * kp160std — the binary interface between the KL virtual machine and the
 * standard-function library (component 8, "STD").
 *
 * Everything a VM needs to load the library and call its functions is here:
 * the eight exports, the declaration-table rows, the call frame handed to an
 * entry function, the string blocks, the error record and the VM's operations
 * at fixed slots. The layout is fixed: on 32-bit targets every "word" is 32
 * bits and the static assertions at the end pin the record sizes. On 64-bit
 * targets, words that hold a pointer or a handle are pointer-sized
 * (`uintptr_t`), everything else keeps its 32-bit width.
 *
 * Threads: the VM calls the exports and entry functions on its own threads;
 * nothing here takes a lock. A string block must be released on the thread
 * that received it.
 *
 * The header is valid C and C++.
 */
#ifndef KP160STD_ABI_H
#define KP160STD_ABI_H

#include <stddef.h>
#include <stdint.h>

/* The library's version; CMake refuses to configure when it differs from the
 * project's. */
#define KP160STD_VERSION_MAJOR 16
#define KP160STD_VERSION_MINOR 0
#define KP160STD_VERSION_PATCH 97
#define KP160STD_VERSION_TWEAK 7
#define KP160STD_VERSION "16.0.97.7"

#ifdef __cplusplus
typedef char16_t kl_char; /* UTF-16 code unit */
extern "C" {
#else
typedef uint16_t kl_char;
#endif

#if defined(_WIN32)
#define KL_CALL __stdcall
#define KL_EXPORT __declspec(dllexport)
#else
#define KL_CALL
#define KL_EXPORT __attribute__((visibility("default")))
#endif

/* The component number that stands in every declaration identifier. */
#define KL_COMPONENT_NUMBER 8

/* ---------------------------------------------------------------------------
 * Type codes (KLTypeCode): result codes and parameter codes of descriptors.
 * ------------------------------------------------------------------------- */
enum KLTypeCode {
  KL_T_NONE = 0,
  KL_T_BOOL = 1,
  KL_T_INT = 8,
  KL_T_INT64 = 9,
  KL_T_CURRENCY = 10,
  KL_T_REAL = 12,
  KL_T_INSTANCE = 14,
  KL_T_WINDOW = 15,
  KL_T_TEXT_CELL = 0x12, /* parameter: cell holding a text pointer */
  KL_T_TEXT = 19,        /* result: a StringHolder */
  KL_T_DATE = 24,
  KL_T_TIME = 25,
  KL_T_DATETIME = 26,
  KL_T_DURATION = 27,
  KL_T_BUFFER = 28, /* result, and parameter: a cell holding a StringHolder of bytes */
  KL_T_VARIANT = 0x1f,
  KL_T_TEXT_DIRECT = 0x50, /* parameter: the element is the text pointer */
  KL_T_ARRAY = 64,
  KL_T_FLAG_8000 = 0x8000 /* set on some parameter codes; read as without it */
};

/* ---------------------------------------------------------------------------
 * String blocks. A StringHolder is one word pointing at the text (or bytes);
 * the 20-byte header stands right in front of it. Null is the empty text.
 * ------------------------------------------------------------------------- */
typedef struct KLStringHeader {
  uint32_t reserved0;
  uint32_t reserved1;
  uint32_t capacity; /* bytes available after the header, terminator included */
  uint32_t length;   /* bytes of text or data, terminator excluded */
  uint32_t flags;    /* bits 1-3: 2 = text, 3 = bytes */
} KLStringHeader;

#define KL_STRING_KIND_SHIFT 1
#define KL_STRING_KIND_MASK 0xEu
#define KL_STRING_KIND_TEXT 2u
#define KL_STRING_KIND_BYTES 3u

typedef void* KLStringHolder;

/* The VM's memory manager for string blocks (GeneralParam 2008). Blocks are
 * whole allocations: header + capacity bytes. */
typedef struct KLStringManager KLStringManager;
typedef struct KLStringManagerOps {
  void* (KL_CALL* Alloc)(KLStringManager* self, uint32_t bytes);
  void (KL_CALL* Free)(KLStringManager* self, void* block);
  void (KL_CALL* Release)(KLStringManager* self, int32_t flags, uintptr_t extra);
} KLStringManagerOps;
struct KLStringManager {
  const KLStringManagerOps* ops;
};

/* The VM's string service (GeneralParam 2006): when set, blocks are freed
 * through it. */
typedef struct KLStringService KLStringService;
typedef struct KLStringServiceOps {
  void (KL_CALL* FreeBlock)(KLStringService* self, void* block);
} KLStringServiceOps;
struct KLStringService {
  const KLStringServiceOps* ops;
};

/* ---------------------------------------------------------------------------
 * Values exchanged with the VM's operations (variants, procedure calls,
 * by-reference assignment). Text and bytes are borrowed: valid until the
 * owner changes.
 * ------------------------------------------------------------------------- */
typedef struct KLValue {
  uint32_t type; /* KLTypeCode: 0, 1, 8, 9, 12, 19 or 28 */
  uint32_t size; /* code units of text, bytes of a buffer */
  union {
    int32_t i32; /* 1 and 8 */
    int64_t i64; /* 9 */
    double real; /* 12 */
    const kl_char* text;
    const uint8_t* bytes;
  } u;
} KLValue;

/* A variant object of the VM (results of code 31, variant parameters). */
typedef struct KLVariant KLVariant;
typedef struct KLVariantOps {
  void (KL_CALL* Release)(KLVariant* self, int32_t flags); /* flags 1: destroy */
  int32_t (KL_CALL* Get)(const KLVariant* self, KLValue* out);
  int32_t (KL_CALL* Set)(KLVariant* self, const KLValue* value);
} KLVariantOps;
struct KLVariant {
  const KLVariantOps* ops;
};

/* Currency (code 10): an 8-byte value followed by a signed 16-bit word. */
typedef struct KLCurrency {
  int64_t value;
  int16_t scale;
} KLCurrency;

/* ---------------------------------------------------------------------------
 * IVMServices: the VM's interface object handed in every CallContext. Its
 * table has at least 150 operations, and the library relies on exactly one
 * position in it: SetResult at slot 149. Nothing at or after slot 150 is ever
 * read, so a VM whose table ends right after SetResult is a complete one.
 * Every other operation the library needs of the VM (variants, the VM's
 * information) goes through the VM services object of the ExecContext below.
 * ------------------------------------------------------------------------- */
typedef struct IVMServices IVMServices;
typedef void (KL_CALL* KLSlot)(void);

#define KL_VM_MIN_OPERATIONS 150

typedef struct IVMServicesOps {
  KLSlot reserved[149]; /* the VM's; never read by the library */
  /* 149: the VM copies the value (text and bytes too) before returning. */
  void (KL_CALL* SetResult)(IVMServices* vm, uint32_t resultHandle, const void* cell, uint32_t typeCode);
} IVMServicesOps;
struct IVMServices {
  const IVMServicesOps* ops;
};

#define KL_VM_SLOT_SETRESULT 149

/* ---------------------------------------------------------------------------
 * KLVMServices: the VM services object that the second field of an
 * ExecContext leads to. It is the VM's, lives as long as the program, and is
 * what the library queries for everything beyond SetResult: it builds the
 * variant objects of results of code 31, reads VM objects passed as
 * variants, answers numbered information questions (82: the location
 * of application updates) and reads the content of table controls. A null
 * object or a null operation means the VM does not offer that service; the
 * library then fails the call cleanly.
 * ------------------------------------------------------------------------- */
typedef struct KLVMServices KLVMServices;
typedef struct KLVMServicesOps {
  /* A new empty variant, released through its own Release(1). */
  KLVariant* (KL_CALL* NewVariant)(KLVMServices* self);
  /* The value of a VM object as a KLValue (its text types as 19); 0 when it
   * has no such value. */
  int32_t (KL_CALL* ObjectValue)(KLVMServices* self, const KLVariant* object, KLValue* out);
  /* A numbered piece of information as text; the length written (without
   * the terminator), 0 when the VM has no answer. */
  uint32_t (KL_CALL* Information)(KLVMServices* self, int32_t number, kl_char* buffer, uint32_t capacity);
  /* The content of a table control, for the table export. A table is named
   * by its text (the control's name); columns and rows count from 0. The
   * counts answer -1 when the VM knows no table of that name. The two text
   * operations answer the text's whole length in units (-1: no such table,
   * column or row) and write at most capacity - 1 units and a terminator:
   * an answer >= capacity asks for a larger buffer. A VM without tables sets
   * all four to null. */
  int32_t (KL_CALL* TableColumnCount)(KLVMServices* self, const kl_char* table);
  int32_t (KL_CALL* TableTitle)(KLVMServices* self, const kl_char* table, int32_t column, kl_char* buffer,
                                uint32_t capacity);
  int32_t (KL_CALL* TableRowCount)(KLVMServices* self, const kl_char* table);
  int32_t (KL_CALL* TableCell)(KLVMServices* self, const kl_char* table, int32_t row, int32_t column,
                               kl_char* buffer, uint32_t capacity);
} KLVMServicesOps;
struct KLVMServices {
  const KLVMServicesOps* ops;
};

#define KL_VM_INFO_UPDATE_LOCATION 82

/* The first argument of an entry function. */
typedef struct CallContext {
  IVMServices* vm;
  uint32_t reserved[3];
  uint32_t resultHandle; /* the fifth word: passed back with the result */
} CallContext;

/* ---------------------------------------------------------------------------
 * The error record of a running program. The VM owns it and its texts; the
 * library fills it through the record's own operations.
 * ------------------------------------------------------------------------- */
typedef struct KLErrorText {
  kl_char* text; /* zero-terminated, or null when empty */
  uint32_t length;
  uint32_t capacity;
} KLErrorText;

typedef struct KLErrorInfo {
  uint32_t item;  /* 1..33; 0 when the slot is unused */
  uint32_t number;
  const kl_char* text; /* owned by the record */
} KLErrorInfo;

typedef struct CXError CXError;
typedef struct CXErrorOps {
  void (KL_CALL* Assign)(CXError* self, KLErrorText* field, const kl_char* text, uint32_t length);
  void (KL_CALL* Grow)(CXError* self, KLErrorText* field, uint32_t capacity);
  /* takes ownership of a text the platform allocated (a system message) */
  void (KL_CALL* AssignSystem)(CXError* self, KLErrorText* field, kl_char* text);
  void (KL_CALL* Append)(CXError* self, KLErrorText* field, const kl_char* text, uint32_t length);
  void (KL_CALL* ClearText)(CXError* self, KLErrorText* field);
} CXErrorOps;

#define KL_ERROR_TEXTS 4 /* the message and the texts cleared with it */
#define KL_ERROR_INFO_ITEMS 33

struct CXError {
  const CXErrorOps* ops;
  int32_t level; /* 1: no error */
  int32_t errorId;
  KLErrorText texts[KL_ERROR_TEXTS]; /* [0] is the formatted message */
  int32_t debugCode;
  KLErrorInfo info[KL_ERROR_INFO_ITEMS]; /* indexed by item - 1 */
  uint32_t item21Flagged;
  uint32_t systemError;
  KLErrorText systemText;
  KLErrorText module;
  KLErrorText version;
};

/* ---------------------------------------------------------------------------
 * ExecContext: the VM's object for the running program. The entry function
 * only passes it on; implementations use its operations.
 * ------------------------------------------------------------------------- */
typedef struct ExecContext ExecContext;

/* The running program's language: names for the date functions. */
typedef struct KLLanguage {
  int32_t code;           /* 12 French, 9 English, ... */
  int32_t useSystemNames; /* non-zero: the device's own names */
  const kl_char* dayNames[7];   /* Monday first */
  const kl_char* monthNames[12]; /* January first */
  /* Short names for the "JJJ" and "MMM" mask tokens; a null list (first
   * element null) lets the library use its own French or English table. */
  const kl_char* shortDayNames[7];    /* Monday first */
  const kl_char* shortMonthNames[12]; /* January first */
} KLLanguage;

typedef struct ExecContextOps {
  KLSlot reserved[17];
  /* 17 */ CXError* (KL_CALL* GetError)(ExecContext* self);
  /* 18: the VM's answer to a service question (code 9 gates the clock). */
  int32_t (KL_CALL* QueryService)(ExecContext* self, int32_t code);
  /* 19 */ const KLLanguage* (KL_CALL* GetLanguage)(ExecContext* self);
  /* 20: a procedure of the running program by name; 0 when there is none. */
  uintptr_t (KL_CALL* FindProcedure)(ExecContext* self, const kl_char* name);
  /* 21: calls it on this thread; 1 on success (result may be null). */
  int32_t (KL_CALL* CallProcedure)(ExecContext* self, uintptr_t procedure, uint32_t argc, const KLValue* args,
                                   KLValue* result);
  /* 22: posts a call to the program's thread from any thread; 1 when queued. */
  int32_t (KL_CALL* PostProcedure)(ExecContext* self, uintptr_t procedure, uint32_t argc, const KLValue* args);
  /* 23: assigns a value to a variable passed by reference (a variant
   * parameter); 1 on success. */
  int32_t (KL_CALL* AssignReference)(ExecContext* self, KLVariant* reference, const KLValue* value);
  /* 24 */ int32_t (KL_CALL* TraceActive)(ExecContext* self);
  /* 25 */ void (KL_CALL* Trace)(ExecContext* self, const kl_char* text);
  /* 26: a text about the running project (KL_PROJECT_*); length written,
   * 0 when unknown. */
  uint32_t (KL_CALL* ProjectQuery)(ExecContext* self, int32_t what, kl_char* buffer, uint32_t capacity);
} ExecContextOps;

#define KL_EXEC_SLOT_GETERROR 17
#define KL_PROJECT_NAME 1
#define KL_PROJECT_DIRECTORY 2
#define KL_PROJECT_REGISTRY_KEY 3

struct ExecContext {
  const ExecContextOps* ops;
  KLVMServices* services; /* the VM services object; may be null */
};

/* An entry function: one per syntax. Always returns 0. */
typedef int32_t (KL_CALL* KLEntryFunction)(CallContext* call, ExecContext* context, void** arguments);

/* ---------------------------------------------------------------------------
 * Declaration tables.
 * ------------------------------------------------------------------------- */
typedef struct KLSyntax {
  KLEntryFunction entry; /* null: not available on this platform */
  uint32_t reserved;
  const uint32_t* descriptor; /* result code, parameter codes, 0 */
  uint32_t parameterCount;
} KLSyntax;

typedef struct KLFunctionRow {
  const char* frenchName; /* Windows-1252 */
  const char* englishName;
  uint32_t flags;
  uint32_t identifier; /* syntax count << 24 | 8 << 16 | row index */
  const KLSyntax* syntaxes;
} KLFunctionRow;

#define KL_CONST_KIND_INT 0x808
#define KL_CONST_KIND_TEXT 0x1208
#define KL_CONST_KIND_NONE 0x8

typedef struct KLConstantRow {
  const char* frenchName;
  const char* englishName;
  uint32_t flags;
  uintptr_t value; /* the integer, or a pointer to UTF-16 text for kind 0x1208 */
  uint32_t kind;
} KLConstantRow;

typedef struct KLVariableRow {
  const char* frenchName;
  const char* englishName;
  uint32_t flags;
  uint32_t identifier; /* member type << 24 | 8 << 16 | row index */
} KLVariableRow;

/* The two operations of a component type. An instance is a block of
 * KL_TYPE_CELL_BYTES-byte cells, one per member in member-list order (at
 * least one cell): a text member's cell holds a KLStringHolder, an integer or
 * boolean member's cell its 32-bit value in the first four bytes. Create
 * gives a new instance with every member empty or 0 (null when memory runs
 * out); Release with flags bit 1 releases the members' texts and the block. */
#define KL_TYPE_CELL_BYTES 8
typedef void* (KL_CALL* KLTypeCreateFn)(void);
typedef void (KL_CALL* KLTypeReleaseFn)(void* instance, int32_t flags);

#define KL_TYPE_FLAGS 0x10              /* a type with an implementation here */
#define KL_TYPE_FLAGS_UNAVAILABLE 0x210 /* declared, not implemented here */
#define KL_TYPE_OPERATION_COUNT 2

typedef struct KLTypeDescriptor {
  const char* frenchNames;  /* singular,plural,gender */
  const char* englishNames; /* singular,plural, */
  const char* typeName;     /* "+:008:0:STD:Processus" */
  uint32_t flags;           /* KL_TYPE_FLAGS or KL_TYPE_FLAGS_UNAVAILABLE */
  uint32_t count;           /* the operations that follow: 2 */
  KLTypeCreateFn create;
  KLTypeReleaseFn release;
  /* Member rows (French name, English name, flags, member type << 24 |
   * 8 << 16 | member index); null with a count of 0 for a type whose members
   * are not declared here. */
  const KLVariableRow* members;
  uint32_t memberCount;
} KLTypeDescriptor;

#define KL_FUNCTION_COUNT 445
#define KL_CONSTANT_COUNT 505
#define KL_VARIABLE_COUNT 53
#define KL_TYPE_COUNT 3

/* ---------------------------------------------------------------------------
 * Callbacks handed to the library.
 * ------------------------------------------------------------------------- */
/* CommandeComposante 2: message text by number; returns the length written
 * (0: no such text). */
typedef uint32_t (KL_CALL* KLMessageTextCallback)(uint32_t number, kl_char* buffer, uint32_t capacity);

/* The VM's conversion services, resolved by name by bInitKLConvFromVM.
 * direction KL_CONV_TO_UTF16: `source` is 8-bit text of `length` bytes;
 * KL_CONV_FROM_UTF16: `source` is UTF-16 of `length` code units. The result
 * is zero-terminated, its length (units) is returned, -1 on failure, and it
 * is freed with FinConversion. */
#define KL_CONV_TO_UTF16 1
#define KL_CONV_FROM_UTF16 2
typedef int32_t (KL_CALL* KLConversionFn)(int32_t direction, const void* source, int32_t length, void** result);
typedef int32_t (KL_CALL* KLConversionExFn)(int32_t direction, uint32_t codePage, const void* source,
                                            int32_t length, void** result);
typedef void (KL_CALL* KLEndConversionFn)(void* result);

/* The hook module's export "Execution" (Execution 3985). */
typedef uintptr_t (KL_CALL* KLHookExecution)(uint32_t message, uintptr_t* block);

/* The filter object registered by the VM (Execution 4963). */
typedef struct KLFilter KLFilter;
typedef struct KLFilterOps {
  int32_t (KL_CALL* Verdict)(KLFilter* self, uintptr_t* block);
} KLFilterOps;
struct KLFilter {
  const KLFilterOps* ops;
};

/* ---------------------------------------------------------------------------
 * The eight exports. Blocks are arrays of words indexed from 0.
 * ------------------------------------------------------------------------- */
KL_EXPORT uintptr_t KL_CALL InfoComposante(uint32_t selector, uint32_t index);
KL_EXPORT uintptr_t KL_CALL CommandeComposante(uint32_t command, uintptr_t record, uintptr_t a, uintptr_t b);
KL_EXPORT uintptr_t KL_CALL Execution(uint32_t message, uintptr_t* block);
KL_EXPORT uintptr_t KL_CALL GeneralParam(uint32_t code, uintptr_t value, uintptr_t extra);
KL_EXPORT void KL_CALL DeclareProxy(uintptr_t* out1, uint16_t* out2, uintptr_t* out3, uint16_t* out4);
KL_EXPORT uintptr_t KL_CALL pQueryProxy(uint32_t code);
KL_EXPORT int32_t KL_CALL bInitKLConvFromVM(uintptr_t module, uint32_t low, uint32_t high, uintptr_t reserved);
KL_EXPORT int16_t KL_CALL nfCompacte(const kl_char* first, const kl_char* second);
/* These eight are the library's only exported symbols (a version script on
 * ELF, a .def file for the DLL); nothing else can be looked up by name. */

/* Messages and codes of the exports. */
#define KL_EXEC_START 3985
#define KL_EXEC_END 4875
#define KL_EXEC_SETTINGS 4876
#define KL_EXEC_SETTINGS_EX 4877
#define KL_EXEC_FILTER 4963
#define KL_EXEC_LANGUAGE 5123
#define KL_EXEC_FORWARD 5238
#define KL_PARAM_TLS_INDEX 2005
#define KL_PARAM_STRING_SERVICE 2006
#define KL_PARAM_STRING_MANAGER 2008
#define KL_CMD_MESSAGE_CALLBACK 2
#define KL_CMD_MESSAGE_TEXT 3
#define KL_CMD_MESSAGE_ATTRIBUTE 4
#define KL_LANGUAGE_FRENCH 12

#ifdef __cplusplus
} /* extern "C" */
#endif

#if UINTPTR_MAX == 0xFFFFFFFFu
/* 32-bit targets: the rows are exactly the words the VM reads. */
#ifdef __cplusplus
#define KL_STATIC_ASSERT static_assert
#else
#define KL_STATIC_ASSERT _Static_assert
#endif
KL_STATIC_ASSERT(sizeof(KLFunctionRow) == 20, "function row: five words");
KL_STATIC_ASSERT(sizeof(KLSyntax) == 16, "syntax record: four words");
KL_STATIC_ASSERT(sizeof(KLConstantRow) == 20, "constant row: five words");
KL_STATIC_ASSERT(sizeof(KLVariableRow) == 16, "variable row: four words");
KL_STATIC_ASSERT(sizeof(KLStringHeader) == 20, "string header: 20 bytes");
KL_STATIC_ASSERT(sizeof(CallContext) == 20, "call context: resultHandle is the fifth word");
KL_STATIC_ASSERT(sizeof(KLTypeDescriptor) == 36, "type descriptor: nine words");
KL_STATIC_ASSERT(offsetof(IVMServicesOps, SetResult) == 149 * 4, "SetResult at slot 149");
KL_STATIC_ASSERT(offsetof(ExecContextOps, GetError) == 17 * 4, "error record at slot 17");
#endif

/* Every target: the library's view of the VM table ends with SetResult. */
#ifdef __cplusplus
static_assert(sizeof(IVMServicesOps) == KL_VM_MIN_OPERATIONS * sizeof(KLSlot), "no slot after SetResult");
#else
_Static_assert(sizeof(IVMServicesOps) == KL_VM_MIN_OPERATIONS * sizeof(KLSlot), "no slot after SetResult");
#endif

#endif /* KP160STD_ABI_H */
