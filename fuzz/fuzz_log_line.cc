// Log bytes of each type through the line reader and the hit processor. The first byte chooses the type, and whether
// the lines are read in the corrected way.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "support/scan_rig.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace vantry;
  if (size == 0) return 0;
  ScanRig rig;
  SiteRec& site = rig.AddSite(static_cast<LogType>(data[0] % (Formats().size() + 1)));
  site.Unix = (data[0] & 0x40) != 0;
  site.IncludeQuery = (data[0] & 0x80) != 0;
  if ((data[0] & 0x20) != 0) {
    Corrections& corrected = rig.t.Corrected;
    corrected.TrueTimes = corrected.NcsaFields = corrected.KeepFixedLayout = corrected.SeekToday =
        corrected.CatchUpRollover = true;
  }
  rig.files.Put("/logs/a.log", std::string(reinterpret_cast<const char*>(data + 1), size - 1));
  rig.Scan();
  rig.t.Site(1).LastReadPos = 0;
  rig.t.Site(1).Paused = false;
  rig.Scan();
  rig.clock.Advance(3600);
  rig.scan.Timer2Tick();
  // Everybody has left, and every list that follows the visitors is empty with them.
  if (rig.t.Visitors.Count() != 0 || rig.t.pageGrid.RowCount() != 0) std::abort();
  return 0;
}
