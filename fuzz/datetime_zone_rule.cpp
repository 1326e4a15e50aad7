// The time-zone record's sources: POSIX TZ rules and whole TZif files.
// Invariants: an accepted rule has offsets within a day; the bias it gives
// at any moment is its standard one or its daylight one; parsing the rule
// inside a TZif footer gives the same record as parsing the rule alone.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "platform/timezone.h"

using namespace kp::platform;

namespace {

void Check(const ZoneRecord& zone) {
  if (zone.bias < -1560 || zone.bias > 1560 || zone.daylightBias < -3000 || zone.daylightBias > 3000) std::abort();
  for (uint16_t year : {1601, 2000, 2024, 2100, 30827}) {
    for (uint16_t month : {1, 3, 10, 12}) {
      for (uint16_t day : {1, 31}) {
        SystemTime t;
        t.year = year;
        t.month = month;
        t.day = month == 12 || month == 1 || month == 3 || month == 10 ? day : 1;
        t.hour = 23;
        for (bool universal : {true, false}) {
          const int32_t bias = ZoneBiasAt(zone, t, universal);
          if (bias != zone.bias + zone.standardBias && bias != zone.bias + zone.daylightBias && bias != zone.bias)
            std::abort();
        }
      }
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  if (const auto zone = ParsePosixZoneRule(text)) {
    Check(*zone);
    // The same rule as the footer of a minimal version-2 file.
    std::string header = std::string("TZif2") + std::string(15, '\0');
    for (uint32_t count : {0u, 0u, 0u, 0u, 1u, 4u})
      for (int shift = 24; shift >= 0; shift -= 8) header.push_back(static_cast<char>(count >> shift));
    const std::string block = std::string(6, '\0') + std::string("UTC", 4);
    const auto file = ParseTzif(header + block + header + block + "\n" + text + "\n");
    if (text.find('\n') == std::string::npos &&
        (!file || file->bias != zone->bias || file->daylight != zone->daylight ||
         file->daylightBias != zone->daylightBias))
      std::abort();
  }
  if (const auto zone = ParseTzif(text)) Check(*zone);
  return 0;
}
