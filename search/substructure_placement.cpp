#include "core/checked_index.h"
#include "search/motif_search.h"
#include "search/substruct_bread_crum.h"

namespace xtalmotif {

namespace {
// The placement search stops after this many hits in one molecule with pinned atoms.
constexpr int placement_hit_limit = 100;
} // namespace

SubstructBreadCrum::SubstructBreadCrum(int molecule_, THandle<MotifSubstructure> substructure_,
                                       const std::map<int, int>& fixed_atoms_,
                                       THandle<SubstructureHitList> hits_)
    : molecule(molecule_), substructure(std::move(substructure_)), fixed_atoms(fixed_atoms_),
      hits(std::move(hits_)) {}

bool SubstructBreadCrum::are_search_params_equal(const THandle<MotifSubstructure>& s,
                                                 int molecule_index,
                                                 const std::map<int, int>& fixed) const {
  // The same object is trivially equal; otherwise compare the query graphs by value.
  const bool same_substructure =
      substructure.get() == s.get() ||
      static_cast<const Substructure&>(*substructure) == static_cast<const Substructure&>(*s);
  return same_substructure && molecule == molecule_index && fixed_atoms == fixed;
}

namespace {
// How far a contact reaches, for choosing the most selective one: its upper limit, with a
// generous van der Waals sum added to a relative one. A hydrogen bond (about 3 A) is followed
// before a link "within 20 A of it in the molecule".
double reach(const MotifContact& contact) {
  const CombinedCriterion& c = *contact.criterion();
  return c.upper() + (c.is_vdw_relative() ? 3.5 : 0.0);
}
} // namespace

void MotifSearch::get_next_substructures(int& from, int& to) {
  const auto& placed = match_->substructure_matches;
  // Called at every step of the search: the contacts are looked at in place, not through new
  // handles of each.
  const auto& contacts = *motif_->contacts();
  double best = 0;
  for (int i = 0; i < static_cast<int>(contacts.size()); ++i) {
    if (checked_index(match_->contact_matches, i)->found)
      continue;
    const MotifContact& contact = *contacts[static_cast<std::size_t>(i)];
    const bool from_placed = checked_index(placed, contact.from_substructure())->found;
    const bool to_placed = checked_index(placed, contact.to_substructure())->found;
    if (from_placed == to_placed)
      continue;
    // In the motif's order, the first contact found; by selectivity, the shortest reach (the
    // first of equals).
    const double contact_reach = selective_order_ ? reach(contact) : 0.0;
    if (selective_order_ && from >= 0 && contact_reach >= best)
      continue;
    best = contact_reach;
    // A contact may be followed backwards, from its second end.
    from = from_placed ? contact.from_substructure() : contact.to_substructure();
    to = from_placed ? contact.to_substructure() : contact.from_substructure();
    if (!selective_order_)
      return;
  }
}

THandle<SubstructureHitList> MotifSearch::find_substructures(int substructure, int molecule,
                                                             const std::map<int, int>& fixed) {
  THandle<MotifSubstructure> query = motif_->substructure(substructure);
  if (reuse_substructure_hits_) {
    auto known = substruct_crumbs_by_placement_.find({molecule, fixed});
    if (known != substruct_crumbs_by_placement_.end())
      for (std::size_t k : known->second)
        if (substruct_crumbs_[k]->are_search_params_equal(query, molecule, fixed))
          return substruct_crumbs_[k]->hits;
  }

  auto hits = make_handle<SubstructureHitList>();
  SubstructureSearch kernel_search;
  kernel_search.set_max_hits(placement_hit_limit);
  for (auto& hit : kernel_search.search(*query, *crystal_->molecule(molecule), fixed))
    hits->push_back(make_handle<std::vector<int>>(std::move(hit)));

  if (reuse_substructure_hits_) {
    substruct_crumbs_by_placement_[{molecule, fixed}].push_back(substruct_crumbs_.size());
    substruct_crumbs_.push_back(make_handle<SubstructBreadCrum>(molecule, query, fixed, hits));
  }
  return hits;
}

} // namespace xtalmotif
