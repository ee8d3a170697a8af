#include "results/motif_search_results.h"

#include "core/atomic_file.h"
#include "core/checked_index.h"

#include <iostream>
#include <ostream>

namespace xtalmotif {

namespace {
constexpr double angle_tolerance = 1e-07;
}

MotifSearchResult::MotifSearchResult(const DatabaseEntryIdentifier& id,
                                     const THandle<MotifMatchList>& matches,
                                     const THandle<MotifSearchResource>& resource)
    : db_id_(id), motif_matches_(matches), resource_(resource) {}

const THandle<MotifMatch>& MotifSearchResult::match(int m) const {
  return motif_matches_->at(m);
}

THandle<Atom> MotifSearchResult::matched_atom(int m, int s, int a) const {
  return resource_->atom(match(m), s, a);
}

THandle<Molecule> MotifSearchResult::matched_molecule(int m, int s) const {
  return resource_->molecule(match(m), s);
}

THandle<std::vector<THandle<Atom>>> MotifSearchResult::matched_atoms(int m, int s) const {
  return resource_->atoms(match(m), s);
}

void MotifSearchResult::print_matched_angles(int m, std::ostream& os) const {
  const auto& constraints = *match(m)->motif->angle_constraints();
  for (std::size_t k = 0; k < constraints.size(); ++k) {
    const MotifAngleConstraint& c = *constraints[k];
    THandle<Atom> atoms[3];
    for (int i = 0; i < 3; ++i)
      atoms[i] = matched_atom(m, c.substructure(i), c.atom(i));
    os << "angle " << k << ": " << atoms[0]->label() << ", " << atoms[1]->label() << ", "
       << atoms[2]->label() << " = ";
    Angle::from_radians(angle(atoms[0]->site()->orthogonal(), atoms[1]->site()->orthogonal(),
                              atoms[2]->site()->orthogonal(), angle_tolerance))
        .print(os);
    os << " \n";
  }
}

void MotifSearchResults::add_motif_match(const DatabaseEntryIdentifier& id,
                                         const THandle<MotifMatch>& match) {
  auto it = matches_by_entry.find(id);
  if (it == matches_by_entry.end())
    matches_by_entry.emplace(id, make_handle<MotifMatchList>(MotifMatchList{match}));
  else
    it->second->push_back(match);
}

THandle<MotifMatchList> MotifSearchResults::motif_matches(const DatabaseEntryIdentifier& id) const {
  auto it = matches_by_entry.find(id);
  return it == matches_by_entry.end() ? make_handle<MotifMatchList>() : it->second;
}

THandle<MotifMatchList> MotifSearchResults::motif_matches(unsigned int n) const {
  if (matches_by_entry.empty()) {
    std::cout << "new matches returned" << std::endl;
    return make_handle<MotifMatchList>();
  }
  if (n >= matches_by_entry.size())
    return make_handle<MotifMatchList>();
  return std::next(matches_by_entry.begin(), n)->second;
}

THandle<DatabaseEntryIdentifier> MotifSearchResults::db_id(unsigned int n) const {
  if (n >= matches_by_entry.size())
    return THandle<DatabaseEntryIdentifier>();
  return make_handle<DatabaseEntryIdentifier>(std::next(matches_by_entry.begin(), n)->first);
}

std::vector<DatabaseEntryIdentifier> MotifSearchResults::db_ids() const {
  std::vector<DatabaseEntryIdentifier> ids;
  for (const auto& kv : matches_by_entry)
    ids.push_back(kv.first);
  return ids;
}

THandle<MotifSearchResult> MotifSearchResults::result(const DatabaseEntryIdentifier& id) const {
  if (!database)
    return THandle<MotifSearchResult>();
  THandle<CrystalMaker> crystal = database->entry(id)->crystal();
  return make_handle<MotifSearchResult>(id, motif_matches(id),
                                        make_handle<MotifSearchResource>(crystal));
}

THandle<MotifSearchResult> MotifSearchResults::result(int n) const {
  if (n < 0)
    return THandle<MotifSearchResult>();
  THandle<DatabaseEntryIdentifier> id = db_id(static_cast<unsigned int>(n));
  if (!id)
    return THandle<MotifSearchResult>();
  return result(*id);
}

// Nothing is cached: the environment is rebuilt from the entry exactly as the search built it,
// so the stored atom addresses index it the same way.
THandle<MotifSearchResource> MotifSearchResults::reread(int n) const {
  THandle<DatabaseEntryIdentifier> id = db_id(static_cast<unsigned int>(n));
  return make_handle<MotifSearchResource>(database->entry(*id)->crystal());
}

THandle<Atom> MotifSearchResults::matched_atom(int n, int m, int s, int a) const {
  THandle<MotifSearchResource> resource = reread(n);
  // Hold the list: for an index without matches it is a new list owned by this handle alone.
  THandle<MotifMatchList> matches = motif_matches(static_cast<unsigned int>(n));
  return resource->atom(matches->at(static_cast<std::size_t>(m)), s, a);
}

std::vector<THandle<ContactMatch>> MotifSearchResults::matched_contacts(int n, bool unique) const {
  std::vector<THandle<ContactMatch>> out;
  std::vector<AtomAddress> firsts;
  std::vector<AtomAddress> seconds;
  // Hold the list: for an index past the end it is a new list owned by this handle alone, and
  // iterating through a temporary handle would read freed memory.
  THandle<MotifMatchList> matches = motif_matches(static_cast<unsigned int>(n));
  for (const auto& match : *matches) {
    for (const auto& c : match->contact_matches) {
      AtomAddress f(*c->from);
      AtomAddress t(*c->to);
      bool duplicate = false;
      for (std::size_t i = 0; unique && i < firsts.size() && !duplicate; ++i)
        duplicate = (firsts[i] == f && seconds[i] == t) || (seconds[i] == f && firsts[i] == t);
      // Every contact joins the seen lists, kept or not.
      firsts.push_back(f);
      seconds.push_back(t);
      if (!duplicate)
        out.push_back(c);
    }
  }
  return out;
}

std::vector<AtomPair> MotifSearchResults::matched_contact_atoms(int n, bool unique) const {
  THandle<DatabaseEntryIdentifier> id = db_id(static_cast<unsigned int>(n));
  THandle<CrystalMaker> crystal = database->entry(*id)->crystal();
  std::vector<AtomPair> out;
  for (const auto& c : matched_contacts(n, unique))
    out.push_back({crystal->molecule(c->from->nmol_in_cm)->atom(c->from->natom),
                   crystal->molecule(c->to->nmol_in_cm)->atom(c->to->natom)});
  return out;
}

void MotifSearchResults::print(std::ostream& os) const {
  for (const auto& kv : matches_by_entry) {
    kv.first.print(os);
    for (const auto& m : *kv.second)
      m->print(os);
  }
}

void MotifSearchResults::print_db_ids(std::ostream& os) const {
  for (const auto& kv : matches_by_entry) {
    kv.first.print(os);
    os << '\n';
  }
}

bool MotifSearchResults::save(const std::string& filename, std::string* error) const {
  return write_file_atomically(
      filename,
      [this](std::ostream& os) {
        os << "No of results: " << matches_by_entry.size() << '\n';
        for (const auto& kv : matches_by_entry)
          os << kv.first.str() << '\n';
      },
      error);
}

bool MotifSearchResults::save_as_gcd(const std::string& filename, std::string* error) const {
  return write_file_atomically(
      filename,
      [this](std::ostream& os) {
        for (const auto& kv : matches_by_entry)
          os << kv.first.str() << '\n';
      },
      error);
}

} // namespace xtalmotif
