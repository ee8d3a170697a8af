// CIF text of any bytes gives a crystal structure, or a CifError naming the source, for the whole
// text and for each of its listed blocks; nothing else may escape or crash.

#include "crystal/cif_reader.h"

#include <cstddef>
#include <cstdint>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace xtalmotif;
  const std::string text(reinterpret_cast<const char*>(data), size);
  try {
    read_crystal_from_string(text, "fuzz");
  } catch (const CifError&) {
  }
  try {
    for (const CifBlockInfo& block : list_cif_blocks_in_string(text, "fuzz")) {
      try {
        read_crystal_from_string(text, block);
      } catch (const CifError&) {
      }
    }
  } catch (const CifError&) {
  }
  return 0;
}
