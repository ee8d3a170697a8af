#include "db/aser_database.h"
#include "search/motif_search.h"

namespace xtalmotif {

bool MotifSearch::screens_agree(const AserBitScreens& pattern, const THandle<AserDatabase>& db,
                                const DatabaseEntryIdentifier& id) {
  if (pattern.screens.empty())
    return true;
  // The database is immutable, so one read of the entry's record serves every bit.
  THandle<Aser> record = db->aser(id);
  for (const auto& [bit, value] : pattern.screens)
    if (record->bit(bit) != value)
      return false;
  return true;
}

bool MotifSearch::prescreen_aser(const THandle<AserDatabase>& db,
                                 const DatabaseEntryIdentifier& id) const {
  return screens_agree(*bit_screens(), db, id);
}

bool MotifSearch::check_filters(const THandle<AserDatabase>& db,
                                const DatabaseEntryIdentifier& id) const {
  return screens_agree(*filters_->bit_screens(), db, id);
}

} // namespace xtalmotif
