#include "search/motif_search.h"

#include "core/checked_index.h"
#include "crystal/cif_reader.h"
#include "chem/element.h"

#include <iostream>

namespace xtalmotif {

MotifSearch::MotifSearch()
    : motif_(make_handle<Motif>(std::string())), crystal_(make_handle<CrystalMaker>()),
      entry_id_("unknown"), resource_(make_handle<MotifSearchResource>(crystal_)),
      match_(make_handle<MotifMatch>()), results_(make_handle<MotifSearchResults>()),
      filters_(make_handle<Filters>()) {}

const THandle<AserBitScreens>& MotifSearch::bit_screens() const {
  if (bit_screens_.is_null())
    bit_screens_ = motif_->aser_bit_screens();
  return bit_screens_;
}

SimpleTimerRecord& MotifSearch::timer(const char* name) {
  auto& t = timers_[name];
  if (t.is_null())
    t = make_handle<SimpleTimerRecord>();
  return *t;
}

void MotifSearch::forget_crumbs() {
  substruct_crumbs_.clear();
  contact_crumbs_.clear();
  substruct_crumbs_by_placement_.clear();
  contact_crumbs_by_address_.clear();
}

void MotifSearch::set_search_structure(THandle<CrystalMaker> c, const DatabaseEntryIdentifier& id) {
  SimpleTimerRecord& t = timer(timer_environment);
  t.start();
  crystal_ = std::move(c);
  crystal_->select_3d();
  entry_id_ = id;
  resource_ = make_handle<MotifSearchResource>(crystal_);
  forget_crumbs();
  t.stop();
}

void MotifSearch::set_motif(THandle<Motif> m) {
  motif_ = std::move(m);
  bit_screens_ = THandle<AserBitScreens>();
  match_ = make_handle<MotifMatch>(motif_);
}

// ---- the search of one structure ----

bool MotifSearch::store_match() {
  results_->add_motif_match(entry_id_, make_handle<MotifMatch>(*match_));
  ++nfound_;
  // The count restarts only when the limit is reached: a structure that ends with fewer
  // matches leaves its count to the next structure. Kept so deliberately.
  if (nfound_ == static_cast<int>(limit_)) {
    nfound_ = 0;
    return true;
  }
  return false;
}

void MotifSearch::search(int first) {
  SimpleTimerRecord& t = timer(timer_search);
  t.start();
  match_ = make_handle<MotifMatch>(motif_);
  match_->clear();
  depth_ = 0;
  max_depth_ = 0;
  ncalls_ = 0;
  work_ = 0;
  if (resource_->ncopies() == 0) {
    t.stop();
    return;
  }
  THandle<MotifSubstructure> substructure = motif_->substructure(first);
  SubstructureSearch kernel_search;
  for (int mol = 0; mol < crystal_->nmolecules(); ++mol) {
    THandle<Molecule> molecule = crystal_->molecule(mol);
    if (!substructure->is_target_size_allowed(molecule))
      continue;
    const int copy = resource_->nmol_in_resource(mol);
    for (const auto& hit : kernel_search.search(*substructure, *molecule)) {
      if (copy == -1)
        continue;
      if (!spend(1)) {
        t.stop();
        return;
      }
      // The first placement is the molecule as it stands in the environment: its first copy,
      // identity operator, no lattice translation. Its crystal-maker index is recorded as well,
      // so that atoms, radii and results looked up through this placement are the right ones.
      match_->set_substructure_match(first, copy, mol, make_handle<std::vector<int>>(hit),
                                     make_handle<Translation>(0, 0, 0));
      if (!check_contact_constraints(first)) {
        match_->ditch_substruct_match(first);
        continue;
      }
      if (match_->is_found()) {
        if (store_match()) {
          t.stop();
          return;
        }
      } else if (find_next()) {
        t.stop();
        return;
      }
    }
  }
  t.stop();
}

bool MotifSearch::find_next() {
  ++depth_;
  ++ncalls_;
  // Once the budget is spent every call returns at once, so the rest of the structure is
  // skipped quickly. The depth is deliberately not lowered again on this path.
  if (ncalls_ >= max_calls_ || !spend(1)) {
    aborted_ = true;
    return false;
  }
  if (depth_ > max_depth_)
    max_depth_ = depth_;

  int from = -1;
  int to = -1;
  get_next_substructures(from, to);
  if (from < 0 || to < 0) {
    // No contact leads from the placed part of the motif to an unplaced substructure: the motif
    // is not connected, and this partial match cannot be completed.
    --depth_;
    return false;
  }
  const int contact_index = motif_->motif_contact(from, to);
  THandle<MotifContact> contact = motif_->contact(contact_index);

  THandle<AtomAddress> address = match_->atom_address(from, contact_index);
  if (resource_->has_point(address)) {
    const Point point = resource_->get_point(address, true);
    THandle<SubstructureAtom> query_atom = motif_->substruct_atom(to, contact_index);
    THandle<AtomAddressList> candidates = find_contacts(point, address, contact, to, query_atom);
    const int pinned_atom = contact->to_atom(from);

    for (const THandle<AtomAddress>& candidate : *candidates) {
      if (!spend(1))
        break;
      if (match_->is_atom_already_used(candidate))
        continue;
      const std::map<int, int> fixed{{pinned_atom, candidate->natom}};
      const int molecule = resource_->nmol_in_cm(candidate->nmol_in_msr);
      THandle<SubstructureHitList> placements = find_substructures(to, molecule, fixed);
      match_->set_contact_match(contact_index, address, candidate,
                                resource_->get_point(address, false),
                                resource_->get_point(candidate, false));

      for (const THandle<std::vector<int>>& placement : *placements) {
        if (!spend(1))
          break;
        if (match_->are_atoms_already_used(candidate->nmol_in_msr, candidate->translation,
                                           placement))
          continue;
        match_->set_substructure_match(to, candidate->nmol_in_msr, candidate->nmol_in_cm, placement,
                                       candidate->translation);
        if (!match_->can_coexist(to, *resource_)) {
          match_->ditch_substruct_match(to);
          continue;
        }
        std::vector<int> closed;
        if (check_remaining_contacts(to, closed)) {
          const bool constraints_hold =
              match_->test_angle_constraints(resource_) &&
              match_->test_torsion_constraints(resource_, torsion_flag_) &&
              match_->test_translation_constraints() && check_contact_constraints(to);
          if (constraints_hold) {
            if (match_->is_found()) {
              if (store_match())
                return true;
            } else if (find_next()) {
              return true;
            }
          }
        }
        for (int c : closed)
          match_->ditch_contact_match(c);
        match_->ditch_substruct_match(to);
      }
    }
  }
  --depth_;
  match_->ditch_substruct_match(to);
  match_->ditch_contact_match(contact_index);
  return false;
}

// ---- entry points ----

void MotifSearch::search(THandle<Motif> m, int first) {
  motif_ = std::move(m);
  bit_screens_ = THandle<AserBitScreens>();
  search(first);
}

void MotifSearch::search(THandle<CrystalMaker> c, THandle<Motif> m, int first) {
  motif_ = std::move(m);
  bit_screens_ = THandle<AserBitScreens>();
  set_search_structure(std::move(c), DatabaseEntryIdentifier("unknown"));
  search(first);
}

void MotifSearch::search_entry(const THandle<CrystalStructureDatabaseEntry>& entry,
                               const DatabaseEntryIdentifier& id) {
  THandle<CrystalMaker> c;
  SimpleTimerRecord& t = timer(timer_read);
  t.start();
  try {
    c = entry->crystal();
  } catch (const CifError& e) {
    // An unreadable entry cannot hold the motif; the database search carries on with the next.
    t.stop();
    read_problems_.push_back(e.what());
    return;
  }
  t.stop();
  set_search_structure(c, id);
  search(0);
}

void MotifSearch::search(THandle<Database<CrystalStructureDatabaseEntry>> db, THandle<Motif> m) {
  results_->clear();
  results_->set_database(db);
  read_problems_.clear();
  motif_ = std::move(m);
  for (int i = 0; i < db->nentries(); ++i) {
    THandle<CrystalStructureDatabaseEntry> entry = db->entry(i);
    search_entry(entry, entry->identifier());
  }
}

void MotifSearch::search(THandle<Database<CrystalStructureDatabaseEntry>> db,
                         const DatabaseEntryIdentifier& id, THandle<Motif> m) {
  results_->clear();
  results_->set_database(db);
  read_problems_.clear();
  motif_ = std::move(m);
  bit_screens_ = THandle<AserBitScreens>();
  THandle<CrystalStructureDatabaseEntry> entry = db->entry(id);
  search_entry(entry, entry->identifier());
}

void MotifSearch::search_screened_entry(const THandle<AserDatabase>& db,
                                        const THandle<CrystalStructureDatabaseEntry>& entry,
                                        const DatabaseEntryIdentifier& id) {
  SimpleTimerRecord& t = timer(timer_prescreen);
  t.start();
  if (use_filters_ && !check_filters(db, id)) {
    t.stop();
    return;
  }
  if (!prescreen_aser(db, id)) {
    t.stop();
    std::cout << "CAUGHT BY PRESCREEN: " << id.str() << '\n';
    return;
  }
  t.stop();
  search_entry(entry, id);
}

void MotifSearch::search(THandle<AserDatabase> db, THandle<Motif> m) {
  results_->clear();
  results_->set_database(db);
  read_problems_.clear();
  motif_ = std::move(m);
  bit_screens_ = THandle<AserBitScreens>();
  for (int i = 0; i < db->nentries(); ++i) {
    THandle<CrystalStructureDatabaseEntry> entry = db->entry(i);
    search_screened_entry(db, entry, entry->identifier());
  }
}

void MotifSearch::search(THandle<AserDatabase> db, const std::vector<DatabaseEntryIdentifier>& ids,
                         THandle<Motif> m) {
  results_->clear();
  results_->set_database(db);
  read_problems_.clear();
  motif_ = std::move(m);
  bit_screens_ = THandle<AserBitScreens>();
  for (const DatabaseEntryIdentifier& id : ids)
    search_screened_entry(db, db->entry(id), id);
}

double MotifSearch::vdw_radius(const AtomAddress& address) const {
  // The environment keeps every atom's element; asked at every contact tried, so no handles
  // of the molecule and atom are made.
  const int molecule = resource_->nmol_in_cm(address.nmol_in_msr);
  return Element::vdw_radii_[resource_->atom_state(molecule, address.natom).element.code()];
}

} // namespace xtalmotif
