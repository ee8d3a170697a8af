#ifndef XTALMOTIF_H
#define XTALMOTIF_H

// The whole public interface of the xtalmotif library. The headers reached from here are the
// ones installed; any other header of the source tree is internal to the library.

// Handles, geometry, output files and the executor a caller may lend the library
#include "core/atomic_file.h"
#include "core/executor.h"
#include "core/geometry.h"
#include "core/handle.h"

// Elements, molecules, rings, bond perception and substructure matching
#include "chem/bond_perception.h"
#include "chem/condition.h"
#include "chem/contact_criterion.h"
#include "chem/element.h"
#include "chem/molecule.h"
#include "chem/rings.h"
#include "chem/substructure.h"

// Crystal structures, CIF reading and the stored form of an assembled crystal
#include "crystal/cif_reader.h"
#include "crystal/crystal_builder.h"
#include "crystal/crystal_maker.h"
#include "crystal/stored_crystal.h"

// Databases of structures and the screen index
#include "db/aser_bit_screens.h"
#include "db/aser_database.h"
#include "db/database.h"

// The motif: substructures, contacts and constraints
#include "motif/contact_constraint.h"
#include "motif/motif.h"
#include "motif/motif_angle_constraint.h"
#include "motif/motif_contact.h"
#include "motif/motif_search_lib_functions.h"
#include "motif/motif_substructure.h"
#include "motif/motif_torsion_constraint.h"
#include "motif/motif_translation_constraint.h"

// Matches and where their atoms lie
#include "match/atom_address.h"
#include "match/motif_match.h"
#include "match/motif_search_resource.h"

// The search of one structure and of a collection
#include "search/collection_search.h"
#include "search/match_records.h"
#include "search/motif_search.h"

// Match records, contact geometry, graph sets and results files
#include "results/contact_geometry.h"
#include "results/graph_set.h"
#include "results/hydrogen_bonds.h"
#include "results/match_description.h"
#include "results/motif_search_results.h"

// Query files
#include "files/con_atom.h"
#include "files/con_bond.h"
#include "files/con_contact.h"
#include "files/con_file.h"
#include "files/formatted_file_reader.h"
#include "files/formatted_string_reader.h"
#include "files/lenient_number.h"

// The ready-made motifs
#include "library/extended_ring_motifs.h"
#include "library/pre_defined_substructures.h"
#include "library/silver_carboxylate_motifs.h"
#include "library/water_motifs.h"

#endif
