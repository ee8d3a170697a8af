// A screen index file of any bytes opens, and then every entry's screens read back, or it is
// refused with a ScreenIndexError naming it; an index with stored structures loads each entry's
// structure or refuses it with a CifError. Nothing else may escape, crash or run away.

#include "fuzz_scratch_file.h"
#include "db/aser_database.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace xtalmotif;
  try {
    AserDatabase index(fuzz::scratch_file(data, size, ".idx"));
    for (int i = 0; i < index.nentries(); ++i) {
      index.aser(index.entry(i)->identifier());
      if (index.has_stored_structures()) {
        try {
          index.entry(i)->crystal();
        } catch (const CifError&) {
        }
      }
    }
  } catch (const ScreenIndexError&) {
  }
  return 0;
}
