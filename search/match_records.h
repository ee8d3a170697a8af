#ifndef XTALMOTIF_SEARCH_MATCH_RECORDS_H
#define XTALMOTIF_SEARCH_MATCH_RECORDS_H

#include "search/collection_search.h"

#include <nlohmann/json.hpp>

#include <cstddef>
#include <string>
#include <vector>

namespace xtalmotif {

/// A text as one line of output: control characters (a newline or a tab in a file name) as '?'.
std::string printable(const std::string& text);

/// The file an entry's records name: as the sources gave it, "-" for standard input, printable.
std::string record_file(const EntryOutcome& entry);

/// The record of an entry with matches (`"record": "entry"`): its name, file and data block, the
/// cell, the operators its symmetry codes number (as the file writes them), where they come from
/// and the notices a reader needs to check the codes against the file.
nlohmann::json entry_record(const EntryOutcome& entry);

/// The record of match `m` (from 0) of an entry (`"record": "match"`): every substructure's
/// molecule and atoms, every contact's atoms, distance and kind with the geometry of a hydrogen
/// bond, the graph set, and every atom of the molecules the match places. Distances are
/// rounded to 4 decimals, angles to 1, fractional coordinates to 5.
nlohmann::json match_record(const EntryOutcome& entry, std::size_t m,
                            const std::string& motif_name);

/// Counts the outcomes of a search; `problems` are the sources that could not be listed.
CollectionTally tally(const std::vector<EntryOutcome>& outcomes, std::size_t problems);

/// The record that ends a search's records (`"record": "summary"`): the counts, and the motif's
/// propensity (hits among candidates) with its 95% Wilson interval when there are candidates.
nlohmann::json summary_record(const std::string& motif_name, const CollectionTally& counts);

/// A record as one line of JSON (no newline); text that is not UTF-8 is replaced, not refused.
std::string record_line(const nlohmann::json& record);

} // namespace xtalmotif

#endif
