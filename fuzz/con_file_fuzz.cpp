// A connectivity query file of any bytes gives a motif, with its screen pattern, or one of the
// errors ConFile::motif documents, naming the file; nothing else may escape or crash.

#include "files/con_file.h"
#include "fuzz_scratch_file.h"
#include "motif/motif.h"

#include <cstddef>
#include <cstdint>
#include <stdexcept>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace xtalmotif;
  ConFile con;
  if (!con.read(fuzz::scratch_file(data, size, ".con")))
    return 0;
  try {
    THandle<Motif> motif = con.motif();
    motif->aser_bit_screens();
  } catch (const std::invalid_argument&) {
  } catch (const std::out_of_range&) {
  }
  return 0;
}
