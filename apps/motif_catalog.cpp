#include "apps/motif_catalog.h"

#include "files/con_file.h"
#include "chem/condition.h"
#include "db/database.h"
#include "library/pre_defined_substructures.h"
#include "library/silver_carboxylate_motifs.h"
#include "library/water_motifs.h"
#if __has_include("library/extended_ring_motifs.h")
#include "library/extended_ring_motifs.h"
#define XTALMOTIF_HAVE_RING_MOTIFS 1
#endif

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>

namespace xtalmotif::app {

namespace {

std::string lower(std::string s) {
  for (char& c : s)
    c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return s;
}

// Where a hydrogen-bonded pair of one predefined group attaches: the donor hydrogen (an explicit
// H query atom), the atom carrying it, and the atom of the partner group that accepts.
struct PairSites {
  int donor_h = -1;
  int donor = -1;
  int acceptor = -1;
};

bool requires_hydrogen(const SubstructureAtom& atom) {
  for (const auto& c : atom.constraints())
    if (auto* nh = dynamic_cast<const AtomNHydrogensConstraint*>(c.get()))
      if (!nh->condition()->test(0.0))
        return true;
  return false;
}

bool may_accept(const SubstructureAtom& atom) {
  if (atom.elements().empty()) // any element
    return true;
  for (int code : {Element::Oxygen, Element::Nitrogen, Element::Sulfur, Element::Fluorine,
                   Element::Chlorine, Element::Bromine, Element::Iodine})
    if (atom.allows(Element(code)))
      return true;
  return false;
}

PairSites pair_sites(const MotifSubstructure& s) {
  PairSites p;
  for (int i = 0; i < s.nnodes() && p.donor_h < 0; ++i) {
    const auto& el = s.node(i)->elements();
    if (el.size() == 1 && el[0].code() == Element::Hydrogen)
      for (const auto& e : s.edges())
        if (e.atom1 == i || e.atom2 == i) {
          int heavy = e.atom1 == i ? e.atom2 : e.atom1;
          // Only hydrogens on N or O make hydrogen bonds; C-H hydrogens (formyl) do not count.
          const SubstructureAtom& d = *s.node(heavy);
          if (d.elements().empty() || d.allows(Element(Element::Oxygen)) ||
              d.allows(Element(Element::Nitrogen))) {
            p.donor_h = i;
            p.donor = heavy;
          }
          break;
        }
  }
  if (p.donor_h < 0)
    return p;
  // Prefer an acceptor that is not itself a required N-H or O-H (carbonyl O over hydroxyl O);
  // groups whose only heteroatom is the donor (hydroxy, water) accept at the donor atom.
  for (int i = 0; i < s.nnodes(); ++i) {
    const SubstructureAtom& a = *s.node(i);
    if (i != p.donor && i != p.donor_h && may_accept(a) && !requires_hydrogen(a) &&
        !(a.elements().size() == 1 && a.elements()[0].is_hydrogen())) {
      p.acceptor = i;
      return p;
    }
  }
  p.acceptor = p.donor;
  return p;
}

// A hydrogen bond H...A: closer than the van der Waals radius sum, between different molecules,
// with the D-H...A angle at least 120 degrees (the usual crystallographic criterion).
void add_hbond(Motif& m, int from_sub, const PairSites& d, int to_sub, const PairSites& a) {
  auto crit = make_handle<CombinedCriterion>(true, 0.0, -5.0, ContactType::Inter, 4, 999, false,
                                             THandle<ElementSet>(), THandle<ElementSet>());
  m.add_contact(make_handle<MotifContact>(from_sub, d.donor_h, to_sub, a.acceptor, crit));
  m.add_angle_constraint(make_handle<MotifAngleConstraint>(
      from_sub, d.donor, from_sub, d.donor_h, to_sub, a.acceptor,
      THandle<Condition>(make_handle<InclusiveRange>("in range", 120.0, 180.0))));
}

THandle<Motif> make_pair(const std::string& key, bool dimer) {
  PreDefinedSubstructures::GenerationOptions opt;
  opt.explicit_hydrogens = true;
  auto s0 = PreDefinedSubstructures::make_sub(key, opt);
  auto s1 = PreDefinedSubstructures::make_sub(key, opt);
  PairSites p = pair_sites(*s0);
  auto m = make_handle<Motif>(key + (dimer ? " dimer" : " pair"));
  m->add_substructure(s0);
  m->add_substructure(s1);
  add_hbond(*m, 0, p, 1, p);
  if (dimer)
    add_hbond(*m, 1, p, 0, p);
  return m;
}

std::string number(double v) {
  std::ostringstream os;
  os << v;
  return os.str();
}

// What a motif asks for, in numbers that tell it from its neighbours in the list: how many
// groups, how many contacts ask them to touch and what rings those close, which contacts keep
// groups apart or together and over what range, and the angle constraints.
std::string facts(const Motif& m, const std::string& group_noun) {
  int touching = 0, apart = 0, together = 0;
  double apart_lo = 1e9, apart_hi = 0, together_hi = 0;
  std::vector<std::pair<int, int>> edges;
  for (const auto& c : *m.contacts()) {
    const CombinedCriterion& k = *c->criterion();
    const bool relative = k.is_vdw_relative();
    if (relative ? k.upper() <= 0.5 : k.upper() <= 3.5) {
      ++touching;
      edges.emplace_back(c->from_substructure(), c->to_substructure());
    } else if (k.lower() > 0) {
      ++apart;
      apart_lo = std::min(apart_lo, k.lower());
      apart_hi = std::max(apart_hi, k.upper());
    } else {
      ++together;
      together_hi = std::max(together_hi, k.upper());
      edges.emplace_back(c->from_substructure(), c->to_substructure());
    }
  }
  // Rings of the contacts that join groups (touching, or linking groups of one molecule): each
  // contact that joins two groups already joined closes one, of as many groups as the path
  // between them plus one.
  const int n = m.nsubstructures();
  std::vector<std::vector<int>> adj(n);
  std::vector<int> ring_sizes;
  for (const auto& [a, b] : edges) {
    if (a == b)
      continue;
    std::vector<int> dist(n, -1);
    std::vector<int> queue{a};
    dist[a] = 0;
    for (std::size_t i = 0; i < queue.size(); ++i)
      for (int w : adj[queue[i]])
        if (dist[w] < 0) {
          dist[w] = dist[queue[i]] + 1;
          queue.push_back(w);
        }
    if (dist[b] >= 0)
      ring_sizes.push_back(dist[b] + 1);
    adj[a].push_back(b);
    adj[b].push_back(a);
  }
  std::sort(ring_sizes.begin(), ring_sizes.end());
  // Groups in two or more contacts: shared donors and acceptors.
  std::vector<int> degree(n, 0);
  for (const auto& c : *m.contacts()) {
    const CombinedCriterion& k = *c->criterion();
    if (k.is_vdw_relative() ? k.upper() <= 0.5 : k.upper() <= 3.5) {
      ++degree[c->from_substructure()];
      ++degree[c->to_substructure()];
    }
  }
  const auto shared = std::count_if(degree.begin(), degree.end(), [](int d) { return d >= 2; });
  std::ostringstream os;
  os << n << ' ' << group_noun << (n == 1 ? "" : "s") << ", " << touching
     << (touching == 1 ? " contact" : " contacts") << " within reach";
  if (together > 0)
    os << ", " << together << (together == 1 ? " link" : " links") << " within a molecule (up to "
       << number(together_hi) << " A)";
  if (!ring_sizes.empty()) {
    os << " closing " << (ring_sizes.size() == 1 ? "a ring of " : "rings of ");
    for (std::size_t i = 0; i < ring_sizes.size(); ++i)
      os << (i == 0 ? "" : i + 1 == ring_sizes.size() ? " and " : ", ") << ring_sizes[i];
  }
  if (shared > 0 && group_noun != "water")
    os << "; " << shared << (shared == 1 ? " group in" : " groups in") << " two or more contacts";
  if (apart > 0)
    os << "; " << apart << (apart == 1 ? " pair" : " pairs") << " kept " << number(apart_lo)
       << "-" << number(apart_hi) << " A apart";
  if (!m.angle_constraints()->empty())
    os << "; " << m.angle_constraints()->size() << " angle constraint"
       << (m.angle_constraints()->size() == 1 ? "" : "s");
  return os.str();
}

std::vector<CatalogEntry> build_catalog() {
  std::vector<CatalogEntry> out;
  PreDefinedSubstructures::GenerationOptions opt;
  opt.explicit_hydrogens = true;
  std::vector<std::string> keys = PreDefinedSubstructures::substructure_names();
  for (const char* extra : {"NH", "HNCNH", "acyclic amide"})
    keys.push_back(extra);
  for (const auto& key : keys) {
    auto s = PreDefinedSubstructures::make_sub(key, opt);
    if (!s)
      continue;
    PairSites p = pair_sites(*s);
    if (p.donor_h < 0)
      continue;
    out.push_back({key + " pair", "pair",
                   [key] { return "two \"" + key + "\" groups joined by one hydrogen bond"; },
                   [key] { return make_pair(key, false); }, {}});
    if (p.acceptor != p.donor)
      out.push_back({key + " dimer", "pair",
                     [key] {
                       return "two \"" + key +
                              "\" groups joined by two hydrogen bonds (a cyclic dimer)";
                     },
                     [key] { return make_pair(key, true); }, {}});
  }

  using W = WaterMotifs;
  std::vector<std::pair<std::string, THandle<Motif> (*)()>> water = {
      {"water chain", &W::make_chain},
      {"water chain of ten", &W::make_chain_of_ten},
      {"water cube", &W::make_cube},
      {"water ring of six", &W::make_ring_of_six},
      {"water ring of eight", &W::make_ring_of_eight},
      {"water ring of ten", &W::make_ring_of_ten},
      {"water ring of twelve", &W::make_ring_of_twelve},
      {"water T41", &W::make_T41},
      {"water T42-62", &W::make_T42_62},
      {"water w8", &W::make_w8},
      {"water w10", &W::make_w10},
      {"water L6610", &W::make_L6_6_10},
      {"water 2 R12s joined by 2", &W::make_2_R12s_joined_by_2},
      {"water 2 R12s joined by 3", &W::make_2_R12s_joined_by_3},
      {"water 2 R12s joined by 4", &W::make_2_R12s_joined_by_4},
      {"water 2 R12s joined by 5", &W::make_2_R12s_joined_by_5},
      {"water three fives", &W::make_three_fives},
      {"water three fives joined in middle", &W::make_three_fives_joined_in_middle},
      {"water 2T62", &W::make_2T62},
      {"water decamer", &W::make_decamer}};
  for (const auto& w : water) {
    auto build = w.second;
    const std::string name = w.first;
    auto describe = [build, name] {
      // The cluster's own name where the list calls it otherwise ("cube motif", "T42-62").
      THandle<Motif> m = build();
      const bool same = lower(m->name()) == lower(name);
      return (same ? std::string() : "\"" + m->name() + "\": ") + facts(*m, "water");
    };
    out.push_back({name, "water", describe, build, {}});
  }
  for (int n = 3; n <= 8; ++n) {
    auto build = [n] { return WaterMotifs::make_ring(n); };
    out.push_back({"water ring " + std::to_string(n), "water",
                   [build] { return facts(*build(), "water"); }, build, {}});
  }

  using S = SilverCarboxylateMotifs;
  THandle<Motif> (*silver[])() = {&S::make_pattern1,  &S::make_pattern2,  &S::make_pattern3,
                                  &S::make_pattern4,  &S::make_pattern5,  &S::make_pattern6,
                                  &S::make_pattern7,  &S::make_pattern8,  &S::make_pattern9,
                                  &S::make_pattern10, &S::make_pattern11, &S::make_pattern12,
                                  &S::make_pattern13};
  for (int i = 0; i < 13; ++i) {
    auto build = silver[i];
    // Each pattern is named "pattern" and its number.
    out.push_back({"silver pattern" + std::to_string(i + 1), "silver",
                   [build] { return "Ag and carboxylate: " + facts(*build(), "group"); }, build,
                   &S::remove_silver_bonds});
  }

#ifdef XTALMOTIF_HAVE_RING_MOTIFS
  for (const auto& r : ExtendedRingMotifs::catalog())
    out.push_back({r.first, "ring", [b = r.second] { return facts(*b(), "group"); }, r.second,
                   {}});
#endif
  return out;
}

std::vector<std::string> words(const std::string& text) {
  std::vector<std::string> out;
  std::string w;
  for (char c : text + ' ') {
    if (std::isspace(static_cast<unsigned char>(c))) {
      if (!w.empty())
        out.push_back(w);
      w.clear();
    } else {
      w += c;
    }
  }
  return out;
}

// Whether every word typed begins a word of the name, in any order ("ring six" and "water ring
// of six", "acid carboxylic" and "carboxylic acid pair").
bool words_all_found(const std::vector<std::string>& typed, const std::vector<std::string>& name) {
  if (typed.empty())
    return false;
  for (const auto& t : typed)
    if (std::none_of(name.begin(), name.end(),
                     [&](const std::string& n) { return n.compare(0, t.size(), t) == 0; }))
      return false;
  return true;
}

} // namespace

const std::vector<CatalogEntry>& motif_catalog() {
  static const std::vector<CatalogEntry> catalog = build_catalog();
  return catalog;
}

std::vector<THandle<Motif>> screened_catalog_motifs() {
  std::vector<THandle<Motif>> out;
  for (const CatalogEntry& e : motif_catalog())
    if (!e.prepare)
      out.push_back(e.build());
  return out;
}

std::vector<std::string> nearest_names(const std::string& text, std::size_t how_many) {
  std::string t = lower(text);
  std::vector<std::string> typed = words(t);
  std::vector<std::pair<std::size_t, std::string>> scored;
  for (const auto& e : motif_catalog()) {
    std::string n = lower(e.name);
    std::size_t d = edit_distance(t, n);
    // A name that contains what was typed is a good suggestion whatever its length.
    if (!t.empty() && n.find(t) != std::string::npos)
      d = std::min<std::size_t>(d, 1);
    else if (words_all_found(typed, words(n)))
      d = std::min<std::size_t>(d, 2);
    scored.emplace_back(d, e.name);
  }
  std::stable_sort(scored.begin(), scored.end(),
                   [](const auto& x, const auto& y) { return x.first < y.first; });
  std::vector<std::string> out;
  for (std::size_t i = 0; i < scored.size() && i < how_many; ++i)
    out.push_back(scored[i].second);
  return out;
}

MotifChoice choose_motif(const std::string& text) {
  for (const auto& e : motif_catalog())
    if (lower(e.name) == lower(text))
      return {e.name, e.build, e.prepare};

  std::error_code ec;
  // Structures named where the motif belongs: the two were most likely given in the wrong order.
  if (std::filesystem::is_directory(text, ec) || CifDatabase::is_cif_file_name(text))
    throw UsageError("\"" + text +
                     "\" names crystal structures, not a motif (a ready-made motif name or a .con "
                     "query file); with search, the motif comes before the structures");
  if (std::filesystem::is_regular_file(text, ec)) {
    // Read once now so that a broken file is reported before any search starts; each search
    // thread then reads its own copy.
    auto probe = [text]() {
      try {
        return read_query_motif(text);
      } catch (const QueryFileError& e) {
        throw UsageError(e.what());
      }
    };
    const QueryMotif first = probe();
    for (const auto& w : first.warnings)
      std::cerr << "warning: " << w << '\n';
    return {first.motif->name(), [probe] { return probe().motif; }, {}};
  }
  if (text.size() > 4 && lower(text.substr(text.size() - 4)) == ".con")
    throw UsageError(text + ": query file not found");

  std::string msg = "unknown motif \"" + text + "\"; nearest names:";
  for (const auto& n : nearest_names(text, 5))
    msg += " \"" + n + "\"";
  msg += " (xtalmotif motifs lists them all)";
  throw UsageError(msg);
}

std::size_t edit_distance(const std::string& a, const std::string& b) {
  std::vector<std::size_t> prev(b.size() + 1), cur(b.size() + 1);
  for (std::size_t j = 0; j <= b.size(); ++j)
    prev[j] = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    cur[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j)
      cur[j] = std::min({prev[j] + 1, cur[j - 1] + 1, prev[j - 1] + (a[i - 1] != b[j - 1])});
    std::swap(prev, cur);
  }
  return prev[b.size()];
}

} // namespace xtalmotif::app
