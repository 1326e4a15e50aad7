/* A VM in miniature: how a program loads the KL standard-function library,
 * starts it, reads its declaration tables and calls one of its functions by
 * name, with nothing but the public header kp160std/abi.h.
 *
 *   cc embed.c $(pkg-config --cflags kp160std) -ldl -o embed
 *   ./embed [LIBRARY]        (default: libkp160std.so.16)
 *
 * It calls DateVersChaîne("20240305", "JJ/MM/AAAA") and prints the result and
 * the error record. A real VM does the same with more services: variants, the
 * conversion functions of bInitKLConvFromVM, procedures and the trace. */
#include <dlfcn.h>
#include <kp160std/abi.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

/* --- string blocks: a 20-byte header, then the text (GeneralParam 2008) --- */
static void* KL_CALL Alloc(KLStringManager* self, uint32_t bytes) {
  (void)self;
  return calloc(1, bytes);
}
static void KL_CALL Free(KLStringManager* self, void* block) {
  (void)self;
  free(block);
}
static void KL_CALL Release(KLStringManager* self, int32_t flags, uintptr_t extra) {
  (void)self, (void)flags, (void)extra;
}
static const KLStringManagerOps kManagerOps = {Alloc, Free, Release};
static KLStringManager gManager = {&kManagerOps};

/* --- the error record: its texts live on the C heap --- */
static void KL_CALL Assign(CXError* self, KLErrorText* field, const kl_char* text, uint32_t length) {
  (void)self;
  free(field->text);
  field->text = calloc(length + 1, sizeof(kl_char));
  if (text && field->text) memcpy(field->text, text, length * sizeof(kl_char));
  field->length = field->capacity = field->text ? length : 0;
}
static void KL_CALL Grow(CXError* self, KLErrorText* field, uint32_t capacity) {
  (void)self;
  if (capacity <= field->capacity) return;
  kl_char* bigger = realloc(field->text, (capacity + 1) * sizeof(kl_char));
  if (!bigger) return;
  field->text = bigger;
  field->capacity = capacity;
}
static void KL_CALL Append(CXError* self, KLErrorText* field, const kl_char* text, uint32_t length) {
  Grow(self, field, field->length + length);
  if (field->capacity < field->length + length) return;
  memcpy(field->text + field->length, text, length * sizeof(kl_char));
  field->length += length;
  field->text[field->length] = 0;
}
static void KL_CALL AssignSystem(CXError* self, KLErrorText* field, kl_char* text) {
  uint32_t n = 0;
  while (text && text[n]) ++n;
  Assign(self, field, text, n); /* a copy: the system's text is not ours to keep */
}
static void KL_CALL ClearText(CXError* self, KLErrorText* field) {
  (void)self;
  free(field->text);
  field->text = NULL;
  field->length = field->capacity = 0;
}
static const CXErrorOps kErrorOps = {Assign, Grow, AssignSystem, Append, ClearText};
static CXError gError = {.ops = &kErrorOps, .level = 1};

/* --- the running program: the error record, the language, no procedures --- */
static CXError* KL_CALL GetError(ExecContext* self) {
  (void)self;
  return &gError;
}
static int32_t KL_CALL QueryService(ExecContext* self, int32_t code) {
  (void)self, (void)code;
  return 1;
}
static KLLanguage gLanguage = {.code = 9}; /* English; the library's own day and month names */
static const KLLanguage* KL_CALL GetLanguage(ExecContext* self) {
  (void)self;
  return &gLanguage;
}
static ExecContextOps gProgramOps; /* the slots this VM offers are filled in main */
static ExecContext gProgram = {&gProgramOps, NULL};

/* --- the VM's interface object: SetResult at slot 149 --- */
static char gResult[256];
static void KL_CALL SetResult(IVMServices* vm, uint32_t handle, const void* cell, uint32_t type) {
  (void)vm, (void)handle;
  if (type == KL_T_TEXT) { /* the cell holds a string holder: UTF-16 text after a header */
    const kl_char* text = *(const kl_char* const*)cell;
    size_t n = 0;
    for (; text && text[n] && n + 1 < sizeof gResult; ++n) gResult[n] = text[n] < 0x80 ? (char)text[n] : '?';
    gResult[n] = 0;
  } else if (type == KL_T_INT || type == KL_T_BOOL) {
    snprintf(gResult, sizeof gResult, "%d", *(const int32_t*)cell);
  }
}
static IVMServicesOps gVMOps; /* 150 slots: only SetResult is ever read */
static IVMServices gVM = {&gVMOps};

static void PrintText(const char* label, const KLErrorText* t) {
  printf("%s", label);
  for (uint32_t i = 0; i < t->length; ++i) putchar(t->text[i] < 0x80 ? (int)t->text[i] : '?');
  putchar('\n');
}

int main(int argc, char** argv) {
  const char* path = argc > 1 ? argv[1] : "libkp160std.so.16";
  void* library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
  if (!library) {
    fprintf(stderr, "embed: %s\n", dlerror());
    return 2;
  }
  typedef uintptr_t(KL_CALL * InfoFn)(uint32_t, uint32_t);
  typedef uintptr_t(KL_CALL * ExecutionFn)(uint32_t, uintptr_t*);
  typedef uintptr_t(KL_CALL * GeneralFn)(uint32_t, uintptr_t, uintptr_t);
  InfoFn info = (InfoFn)dlsym(library, "InfoComposante");
  ExecutionFn execution = (ExecutionFn)dlsym(library, "Execution");
  GeneralFn general = (GeneralFn)dlsym(library, "GeneralParam");
  if (!info || !execution || !general || info(1, 0) != KL_COMPONENT_NUMBER) {
    fprintf(stderr, "embed: %s is not component %d\n", path, KL_COMPONENT_NUMBER);
    return 2;
  }

  /* Start-up: the string memory manager, the tables, then the program. */
  gVMOps.SetResult = SetResult;
  gProgramOps.GetError = GetError;
  gProgramOps.QueryService = QueryService;
  gProgramOps.GetLanguage = GetLanguage;
  general(KL_PARAM_STRING_MANAGER, (uintptr_t)&gManager, 0);
  const KLFunctionRow* rows = (const KLFunctionRow*)info(33, 0);
  const uintptr_t count = info(34, 0);
  uintptr_t start[4] = {0, 0, 0, 0};
  execution(KL_EXEC_START, start);
  uintptr_t language[1] = {9};
  execution(KL_EXEC_LANGUAGE, language);

  /* Find the function by its French name (Windows-1252 bytes) and the syntax
   * that takes two texts. */
  const KLSyntax* syntax = NULL;
  for (uintptr_t i = 0; i < count && !syntax; ++i) {
    if (strcmp(rows[i].frenchName, "DateVersCha\xEEne") != 0) continue;
    for (uint32_t s = 0; s < rows[i].identifier >> 24; ++s)
      if (rows[i].syntaxes[s].parameterCount == 2 && rows[i].syntaxes[s].entry) syntax = &rows[i].syntaxes[s];
  }
  if (!syntax) {
    fprintf(stderr, "embed: DateVersCha\xC3\xAEne(text, text) not found\n");
    return 2;
  }

  /* Text parameters of code 0x12 are cells holding a pointer to the text. */
  static const kl_char date[] = {'2', '0', '2', '4', '0', '3', '0', '5', 0};
  static const kl_char mask[] = {'J', 'J', '/', 'M', 'M', '/', 'A', 'A', 'A', 'A', 0};
  const kl_char* cells[2] = {date, mask};
  void* arguments[2] = {&cells[0], &cells[1]};
  CallContext call = {&gVM, {0, 0, 0}, 1};
  syntax->entry(&call, &gProgram, arguments);

  printf("DateVersCha\xC3\xAEne(\"20240305\", \"JJ/MM/AAAA\") = %s\n", gResult);
  printf("error record: level %d, id %d\n", gError.level, gError.errorId);

  /* A date that is not one: the failure value, and the error in the record. */
  static const kl_char bad[] = {'2', '0', '2', '4', 'A', '3', '0', '5', 0};
  cells[0] = bad;
  syntax->entry(&call, &gProgram, arguments);
  printf("DateVersCha\xC3\xAEne(\"2024A305\", \"JJ/MM/AAAA\") = \"%s\"\n", gResult);
  printf("error record: level %d, id %d\n", gError.level, gError.errorId);
  PrintText("message: ", &gError.texts[0]);

  execution(KL_EXEC_END, NULL);
  dlclose(library);
  return 0;
}
