// kp160std — the message formatter on Windows.
//
// Kept on purpose: FormatMessageW with an argument array reads past the end
// of the array when a text names an insert that was not given, so Windows
// builds the portable formatter too and both backends format alike.
#include "../posix/format_message.cpp"
