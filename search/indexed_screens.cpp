#include "search/indexed_screens.h"

#include "search/motif_search.h"

#include <algorithm>
#include <set>
#include <sstream>

namespace xtalmotif {

namespace {

// Work allowed to one contact screen of one entry; past it the screen counts as passed.
constexpr std::uint64_t kContactScreenBudget = 200000;

std::string substructure_key(const Substructure& s) {
  std::ostringstream os;
  os.precision(17);
  os << s.nnodes() << " atoms";
  for (int i = 0; i < s.nnodes(); ++i) {
    os << "; ";
    s.node(i)->print(os);
  }
  for (const SubstructureEdge& e : s.edges()) {
    os << "; " << e.atom1 << '-' << e.atom2 << ' ';
    e.bond->print(os);
  }
  if (const auto* m = dynamic_cast<const MotifSubstructure*>(&s))
    os << "; size " << m->min_target_size() << " to " << m->max_target_size();
  std::string key = os.str();
  std::replace(key.begin(), key.end(), '\n', ' ');
  return key;
}

// Whether the contact asks its atoms to touch between molecules: the contacts worth a screen.
bool touching(const MotifContact& contact) {
  const CombinedCriterion& c = *contact.criterion();
  if (contact.from_substructure() == contact.to_substructure() ||
      c.contact_type() == ContactType::Intra)
    return false;
  return c.is_vdw_relative() ? c.upper() <= 0.5 : c.upper() <= 4.0;
}

std::string contact_key(const Motif& m, const MotifContact& contact) {
  const CombinedCriterion& c = *contact.criterion();
  std::ostringstream os;
  os.precision(17);
  os << "contact: " << substructure_key(*m.substructure(contact.from_substructure())) << " | atom "
     << contact.from_atom() << " | " << substructure_key(*m.substructure(contact.to_substructure()))
     << " | atom " << contact.to_atom() << " | " << (c.is_vdw_relative() ? "vdw " : "")
     << c.lower() << " to " << c.upper() << " type " << static_cast<int>(c.contact_type())
     << " path " << c.min_path() << " to " << c.max_path() << (c.is_symmetric() ? " symmetric" : "")
     << " elements";
  for (int e : c.first_elements())
    os << ' ' << e;
  os << " /";
  for (int e : c.second_elements())
    os << ' ' << e;
  return os.str();
}

// The motif of one contact alone: its two substructures and the contact between them.
THandle<Motif> contact_pair(const Motif& m, const MotifContact& contact) {
  auto pair = make_handle<Motif>(std::string("contact screen"));
  pair->add_substructure(
      make_handle<MotifSubstructure>(*m.substructure(contact.from_substructure())));
  pair->add_substructure(make_handle<MotifSubstructure>(*m.substructure(contact.to_substructure())));
  pair->add_contact(make_handle<MotifContact>(0, contact.from_atom(), 1, contact.to_atom(),
                                              make_handle<CombinedCriterion>(*contact.criterion())));
  return pair;
}

} // namespace

std::vector<IndexedScreen> motif_screens(const std::vector<THandle<Motif>>& motifs) {
  std::vector<IndexedScreen> out;
  std::set<std::string> seen;
  for (const THandle<Motif>& m : motifs) {
    for (const THandle<MotifSubstructure>& s : *m->substructures()) {
      const std::string key = "substructure: " + substructure_key(*s);
      if (!seen.insert(key).second)
        continue;
      THandle<MotifSubstructure> query = make_handle<MotifSubstructure>(*s);
      out.push_back({key, [query](const THandle<CrystalMaker>& crystal) {
                       const MotifSubstructure own(*query); // one per thread
                       SubstructureSearch search;
                       search.set_max_hits(1);
                       for (int i = 0; i < crystal->nmolecules(); ++i)
                         if (!search.search(own, *crystal->molecule(i)).empty())
                           return true;
                       return false;
                     }});
    }
    for (const THandle<MotifContact>& c : *m->contacts()) {
      if (!touching(*c))
        continue;
      const std::string key = contact_key(*m, *c);
      if (!seen.insert(key).second)
        continue;
      THandle<Motif> pair = contact_pair(*m, *c);
      out.push_back({key, [pair](const THandle<CrystalMaker>& crystal) {
                       // A motif is not shared between threads: each test searches a copy.
                       THandle<Motif> own = make_handle<Motif>(*pair);
                       MotifSearch search;
                       search.set_work_budget(kContactScreenBudget);
                       search.search(crystal, own, 0);
                       return search.aborted() || search.results()->nentries() > 0;
                     }});
    }
  }
  return out;
}

void require_indexed_screens(const Motif& motif, const AserDatabase& index,
                             AserBitScreens& pattern) {
  const std::vector<std::string>& keys = index.indexed_screens();
  if (keys.empty())
    return;
  auto require = [&](const std::string& key) {
    const auto at = std::find(keys.begin(), keys.end(), key);
    if (at != keys.end())
      pattern.screens[AserDatabase::first_indexed_bit + static_cast<int>(at - keys.begin())] =
          true;
  };
  for (const THandle<MotifSubstructure>& s : *motif.substructures())
    require("substructure: " + substructure_key(*s));
  for (const THandle<MotifContact>& c : *motif.contacts())
    if (touching(*c))
      require(contact_key(motif, *c));
}

} // namespace xtalmotif
