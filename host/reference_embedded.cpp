// kp — the records embedded at build time, parsed once on first use.
#include "reference.h"

namespace kphost::ref {

const Parsed& Embedded() {
  static const Parsed parsed = [] {
    Parsed p;
    for (size_t i = 0; i < kEmbeddedFileCount; ++i) ParseRecords(kEmbeddedFiles[i].text, kEmbeddedFiles[i].stem, p);
    return p;
  }();
  return parsed;
}

}  // namespace kphost::ref
