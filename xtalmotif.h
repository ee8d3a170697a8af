#ifndef XTALMOTIF_H
#define XTALMOTIF_H

// The whole public interface of the xtalmotif library: the chemistry kernel, the motif model,
// the search engine and its results, query files and the ready-made motif libraries.

#include "kernel/archive.h"
#include "kernel/aser_bit_screens.h"
#include "kernel/aser_database.h"
#include "kernel/atomic_file.h"
#include "kernel/bond_perception.h"
#include "kernel/checked_index.h"
#include "kernel/cif_reader.h"
#include "kernel/condition.h"
#include "kernel/contact_criterion.h"
#include "kernel/crystal_builder.h"
#include "kernel/crystal_maker.h"
#include "kernel/database.h"
#include "kernel/element.h"
#include "kernel/geometry.h"
#include "kernel/handle.h"
#include "kernel/molecule.h"
#include "kernel/rings.h"
#include "kernel/simple_timer_record.h"
#include "kernel/substructure.h"

#include "motif/contact_constraint.h"
#include "motif/motif.h"
#include "motif/motif_angle_constraint.h"
#include "motif/motif_contact.h"
#include "motif/motif_search_lib_functions.h"
#include "motif/motif_substructure.h"
#include "motif/motif_torsion_constraint.h"
#include "motif/motif_translation_constraint.h"

#include "search/atom_address.h"
#include "search/collection_search.h"
#include "search/contact_bread_crum.h"
#include "search/match_records.h"
#include "search/motif_match.h"
#include "search/motif_search.h"
#include "search/motif_search_resource.h"
#include "search/substruct_bread_crum.h"

#include "results/motif_search_results.h"

#include "files/con_atom.h"
#include "files/con_bond.h"
#include "files/con_contact.h"
#include "files/con_file.h"
#include "files/formatted_file_reader.h"
#include "files/formatted_string_reader.h"
#include "files/lenient_number.h"

#include "library/extended_ring_motifs.h"
#include "library/pre_defined_substructures.h"
#include "library/silver_carboxylate_motifs.h"
#include "library/water_motifs.h"

#endif
