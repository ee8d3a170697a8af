// The ribbon and ladder motifs searched in real amide, urea and acid structures. What each
// structure must give is derived here from the structure itself: a small census, independent of
// the search engine, lists for a molecule every symmetry image joined to it by a donor-acceptor
// contact within the hydrogen-bond reach (van der Waals radius sum + 0.2 A between the heavy
// atoms, donors being O or N atoms with one to three hydrogens). From it follow two necessary
// conditions: a two-molecule (R2) ring needs a neighbour joined by two such contacts, and a
// three-molecule (R3) ring needs two neighbours joined to each other. Where the census shows the
// ring pattern, the search must find the motif; where it rules the pattern out, it must not.

#include "library/extended_ring_motifs.h"

#include "test_data.h"

#include "crystal/cif_reader.h"
#include "crystal/crystal_maker.h"
#include "chem/element.h"
#include "chem/molecule.h"
#include "search/motif_search.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace xtalmotif {
namespace {

// ---------------------------------------------------------------------------------------------
// Hydrogen-bond census

/// Bondi radii of the atoms that can take part (O, N, S); other elements never do.
double radius(const Element &e) {
  if (e.symbol() == "O")
    return 1.52;
  if (e.symbol() == "N")
    return 1.55;
  if (e.symbol() == "S")
    return 1.80;
  return -1.0;
}

bool is_donor(const Molecule &m, int a) {
  const std::string s = m.atom(a)->element().symbol();
  const int h = m.hydrogen_count(a);
  return (s == "O" || s == "N") && h >= 1 && h <= 3;
}

/// One molecule of the crystal placed by a symmetry operator and a lattice translation.
struct Image {
  int molecule = 0;
  std::string where; // "op k [ta,tb,tc]", for messages
  std::vector<Point> xyz;
};

/// A pair of atoms of two images within hydrogen-bond reach, one of them at least a donor: the
/// atoms' labels (first image first), their distance, and which of them can donate.
struct Link {
  std::string first;
  std::string second;
  double distance;
  bool first_donates;
  bool second_donates;
};

double separation(const Point &a, const Point &b) {
  const double dx = a[0] - b[0], dy = a[1] - b[1], dz = a[2] - b[2];
  return std::sqrt(dx * dx + dy * dy + dz * dz);
}

/// Per atom of a molecule: its radius when it can take part in a hydrogen bond (else < 0) and
/// whether it can donate.
struct Roles {
  std::vector<double> radius;
  std::vector<bool> donor;
};

Roles roles(const Molecule &m) {
  Roles r;
  for (int a = 0; a < m.natoms(); ++a) {
    r.radius.push_back(radius(m.atom(a)->element()));
    r.donor.push_back(is_donor(m, a));
  }
  return r;
}

std::vector<Link> links_between(const CrystalMaker &c, const Image &a, const Image &b) {
  const Molecule &ma = *c.molecule(a.molecule);
  const Molecule &mb = *c.molecule(b.molecule);
  const Roles ra = roles(ma), rb = roles(mb);
  std::vector<Link> links;
  for (int i = 0; i < ma.natoms(); ++i)
    for (int j = 0; j < mb.natoms(); ++j) {
      if (ra.radius[i] < 0 || rb.radius[j] < 0 || (!ra.donor[i] && !rb.donor[j]))
        continue;
      const double d = separation(a.xyz[i], b.xyz[j]);
      if (d < ra.radius[i] + rb.radius[j] + 0.2)
        links.push_back({ma.atom(i)->label(), mb.atom(j)->label(), d, ra.donor[i], rb.donor[j]});
    }
  return links;
}

Image image_of(const CrystalMaker &c, int m, int op, int ta, int tb, int tc) {
  Image im;
  im.molecule = m;
  im.where = "op" + std::to_string(op) + " [" + std::to_string(ta) + "," + std::to_string(tb) +
             "," + std::to_string(tc) + "]";
  const Molecule &mol = *c.molecule(m);
  for (int a = 0; a < mol.natoms(); ++a) {
    Point f = c.symmetry_operators()[op].apply(c.to_fractional(mol.atom(a)->position()));
    im.xyz.push_back(c.to_orthogonal(Point(f[0] + ta, f[1] + tb, f[2] + tc)));
  }
  return im;
}

bool same_place(const Image &a, const Image &b) {
  if (a.molecule != b.molecule)
    return false;
  for (std::size_t i = 0; i < a.xyz.size(); ++i)
    if (separation(a.xyz[i], b.xyz[i]) > 1e-3)
      return false;
  return true;
}

/// The molecule `origin` as given and every other image hydrogen-bonded to it.
struct Census {
  Image origin;
  std::vector<Image> neighbours;
  std::vector<std::vector<Link>> links; // parallel to neighbours, origin first in each link
};

Census census(const CrystalMaker &c, int origin) {
  Census s;
  s.origin = image_of(c, origin, 0, 0, 0, 0);
  for (int m = 0; m < c.nmolecules(); ++m)
    for (int op = 0; op < static_cast<int>(c.symmetry_operators().size()); ++op)
      for (int ta = -4; ta <= 4; ++ta)
        for (int tb = -4; tb <= 4; ++tb)
          for (int tc = -4; tc <= 4; ++tc) {
            Image im = image_of(c, m, op, ta, tb, tc);
            if (same_place(im, s.origin))
              continue;
            bool known = false;
            for (const auto &n : s.neighbours)
              known = known || same_place(n, im);
            if (known)
              continue;
            auto links = links_between(c, s.origin, im);
            if (!links.empty()) {
              s.neighbours.push_back(im);
              s.links.push_back(links);
            }
          }
  return s;
}

/// Number of neighbours joined to the origin by at least two contacts (two different pairs of
/// atoms, as the two hydrogen bonds of an R2 ring always are).
int doubly_linked(const Census &s) {
  int n = 0;
  for (const auto &l : s.links)
    n += l.size() >= 2;
  return n;
}

/// Whether two neighbours of the origin are hydrogen-bonded to each other.
bool has_triangle(const CrystalMaker &c, const Census &s) {
  for (std::size_t i = 0; i < s.neighbours.size(); ++i)
    for (std::size_t j = i + 1; j < s.neighbours.size(); ++j)
      if (!links_between(c, s.neighbours[i], s.neighbours[j]).empty())
        return true;
  return false;
}

int count_donor_atoms(const CrystalMaker &c) {
  int n = 0;
  for (int m = 0; m < c.nmolecules(); ++m)
    for (int a = 0; a < c.molecule(m)->natoms(); ++a)
      n += is_donor(*c.molecule(m), a);
  return n;
}

/// A contact expected between the origin and one neighbour: the origin's atom, the neighbour's
/// atom, whether the origin's atom is the donor, and the distance (to 0.01 A).
struct Expect {
  const char *origin_atom;
  const char *other_atom;
  bool origin_donates;
  double distance;
};

/// Whether one neighbour is joined by all the expected contacts.
bool has_neighbour_with(const Census &s, const std::vector<Expect> &wanted) {
  for (const auto &links : s.links) {
    bool all = true;
    for (const auto &w : wanted) {
      bool found = false;
      for (const auto &l : links)
        found = found || (l.first == w.origin_atom && l.second == w.other_atom &&
                          (w.origin_donates ? l.first_donates : l.second_donates) &&
                          std::fabs(l.distance - w.distance) < 0.01);
      all = all && found;
    }
    if (all)
      return true;
  }
  return false;
}

// ---------------------------------------------------------------------------------------------
// Searches

THandle<CrystalMaker> load(const std::string &file) {
  return read_crystal(testing::require_data("curated/" + file).string(), "");
}

struct Outcome {
  bool hit = false;
  bool aborted = false;
  double ms = 0.0;
};

/// Searches one motif in the structure, stopping at the first match, and times the search
/// (environment included).
Outcome run(const THandle<CrystalMaker> &crystal, ExtendedRingMotifs::Builder build) {
  MotifSearch search;
  search.set_limit(1);
  const auto t0 = std::chrono::steady_clock::now();
  search.search(crystal, build(), 0);
  const auto t1 = std::chrono::steady_clock::now();
  Outcome o;
  o.ms = std::chrono::duration<double, std::milli>(t1 - t0).count();
  o.hit = search.results()->nentries() > 0;
  o.aborted = search.aborted();
  return o;
}

enum class Want { Hit, None, Open };

using E = ExtendedRingMotifs;

/// The ribbons and ladders searched in every structure.
const std::vector<std::pair<const char *, ExtendedRingMotifs::Builder>> &motifs() {
  static const std::vector<std::pair<const char *, ExtendedRingMotifs::Builder>> all = {
      {"r2_ribbon", &E::r2_ribbon},
      {"r2_ribbon_shared_acceptor", &E::r2_ribbon_shared_acceptor},
      {"r2_ribbon_shared_donor", &E::r2_ribbon_shared_donor},
      {"r3_ribbon", &E::r3_ribbon},
      {"r2r4_ladder", &E::r2r4_ladder},
      {"r2r4_ladder_shared_donor_and_acceptor", &E::r2r4_ladder_shared_donor_and_acceptor},
      {"r2r4_ladder_shared_donor", &E::r2r4_ladder_shared_donor},
  };
  return all;
}

/// Searches every motif and checks the outcomes the structure dictates; prints the timings.
void check_searches(const std::string &file, const THandle<CrystalMaker> &crystal,
                    const std::map<std::string, Want> &wanted) {
  for (const auto &[name, build] : motifs()) {
    SCOPED_TRACE(file + ": " + name);
    const Outcome o = run(crystal, build);
    std::cout << "  [ring search] " << std::left << std::setw(40) << file << std::setw(40) << name
              << (o.hit ? "hit " : "none") << std::right << std::fixed << std::setprecision(1)
              << std::setw(9) << o.ms << " ms\n";
    EXPECT_FALSE(o.aborted) << "call budget spent";
    auto w = wanted.find(name);
    ASSERT_NE(w, wanted.end()) << "no expectation written";
    if (w->second == Want::Hit) {
      EXPECT_TRUE(o.hit);
    }
    if (w->second == Want::None) {
      EXPECT_FALSE(o.hit);
    }
  }
}

/// Every searched motif rules out: none of them can match.
std::map<std::string, Want> all_none() {
  std::map<std::string, Want> w;
  for (const auto &m : motifs())
    w[m.first] = Want::None;
  return w;
}

// ---------------------------------------------------------------------------------------------
// Structures without an extended ring pattern

TEST(ExtendedRingRealData, IbuprofenAcidDimerIsNotExtended) {
  // Ibuprofen: one COOH per molecule (O1a-H, O2a). The inversion-related molecule closes the
  // R2,2(8) acid dimer with two O-H...O bonds of 2.80 A; no other molecule comes within reach
  // (the next O...O, across the dimer, is 3.29 A > 3.24 A), so the dimers do not link further
  // and no ribbon or ladder can form.
  auto crystal = load("acid__2300214-r274507.cif");
  ASSERT_EQ(crystal->nmolecules(), 1);
  const Census s = census(*crystal, 0);
  ASSERT_EQ(s.neighbours.size(), 1u);
  EXPECT_TRUE(has_neighbour_with(s, {{"O1a", "O2a", true, 2.800}, {"O2a", "O1a", false, 2.800}}));
  check_searches("acid__2300214-r274507.cif", crystal, all_none());
}

TEST(ExtendedRingRealData, OtherAcidDimersAndChainsAreNotExtended) {
  // 2211061 and 4022630: the same isolated acid dimer (O-H...O 2.63 and 2.67 A) and nothing
  // else. 2013611 (succinic acid, formate and berberine): acid-formate-acid chains of single
  // O-H...O bonds; no pair of molecules is joined twice and no three mutually.
  // cif_fix_val_024: its O-H makes no intermolecular contact at all.
  struct Case {
    const char *file;
    int neighbours_of_first;
  };
  for (const Case &k : {Case{"acid__2211061-modified-enum-comments.cif", 1},
                        Case{"acid__4022630-degrees-cendigrades.cif", 1},
                        Case{"acid__2013611.cif", -1}, Case{"acid__cif_fix_val_024.cif", 0}}) {
    SCOPED_TRACE(k.file);
    auto crystal = load(k.file);
    bool any_double = false;
    for (int m = 0; m < crystal->nmolecules(); ++m) {
      const Census s = census(*crystal, m);
      if (m == 0 && k.neighbours_of_first >= 0) {
        EXPECT_EQ(static_cast<int>(s.neighbours.size()), k.neighbours_of_first);
      }
      EXPECT_FALSE(has_triangle(*crystal, s)) << "molecule " << m;
      // A lone dimer has its two bonds to one neighbour and no other neighbour.
      if (doubly_linked(s) > 0) {
        EXPECT_EQ(s.neighbours.size(), 1u) << "molecule " << m;
      }
      any_double = any_double || doubly_linked(s) > 0;
    }
    if (std::string(k.file) == "acid__2013611.cif") {
      EXPECT_FALSE(any_double);
    }
    check_searches(k.file, crystal, all_none());
  }
}

TEST(ExtendedRingRealData, IsolatedAmideDimerIsNotExtended) {
  // 2009480 (C26H31N3O4): the only N-H (N3) pairs with the carbonyl O2 of the inversion-related
  // molecule, two N-H...O bonds of 2.89 A closing a centrosymmetric amide dimer. No other
  // molecule comes within reach, so, as for the acid dimers, nothing extends the ring.
  auto crystal = load("amide__2009480.cif");
  const Census s = census(*crystal, 0);
  ASSERT_EQ(s.neighbours.size(), 1u);
  EXPECT_TRUE(
      has_neighbour_with(s, {{"N(3)", "O(2)", true, 2.887}, {"O(2)", "N(3)", false, 2.887}}));
  check_searches("amide__2009480.cif", crystal, all_none());
}

TEST(ExtendedRingRealData, TriazolinoneWithoutDonorsMatchesNothing) {
  // 2203315, 1,4-diacetyl-1,2,4-triazolin-5-one: both ring N-H positions are acetylated, so the
  // structure has no O-H or N-H donor at all.
  auto crystal = load("urea__2203315.cif");
  EXPECT_EQ(count_donor_atoms(*crystal), 0);
  check_searches("urea__2203315.cif", crystal, all_none());
}

TEST(ExtendedRingRealData, DrugSaltHasNoDoublyLinkedPair) {
  // 2006132: a drug cation with hydrogen maleate anions, a three-dimensional network of single
  // links; no two molecules are joined by two contacts, so no R2 ring, ribbon or ladder. Three
  // mutually bonded molecules do occur, so the R3 ribbon is left to the search.
  auto crystal = load("acid__2006132.cif");
  for (int m = 0; m < crystal->nmolecules(); ++m)
    EXPECT_EQ(doubly_linked(census(*crystal, m)), 0) << "molecule " << m;
  auto wanted = all_none();
  wanted["r3_ribbon"] = Want::Open;
  check_searches("acid__2006132.cif", crystal, wanted);
}

// ---------------------------------------------------------------------------------------------
// Structures with ribbons and ladders

TEST(ExtendedRingRealData, GlycylglycineRibbonsAndLadder) {
  // Glycylglycine zwitterion H3N+-CH2-CO-NH-CH2-COO-: donors N1 (NH3+) and N2 (amide N-H);
  // acceptors O1 (amide), O2 and O3 (carboxylate).
  auto crystal = load("amide__2100438-cell-vol.cif");
  ASSERT_EQ(crystal->nmolecules(), 1);
  const Census s = census(*crystal, 0);
  // The molecule on either side along the 2-fold screw axis is joined twice, in opposite
  // directions: N2-H...O1 2.77 A and N1-H...O2 2.71 A, four different atoms. A chain of such
  // pairs is the R2 ribbon.
  EXPECT_TRUE(has_neighbour_with(s, {{"N2", "O1", true, 2.772}, {"O2", "N1", false, 2.713}}));
  EXPECT_TRUE(has_neighbour_with(s, {{"O1", "N2", false, 2.772}, {"N1", "O2", true, 2.713}}));
  // The inversion-related molecule forms an ammonium-carboxylate dimer, N1-H...O2 2.72 A both
  // ways (with a longer N1...O3 3.16 A each way). A ribbon can alternate screw pairs and these
  // dimers; then O2 takes a bond from each side (shared acceptor) or N1 gives one to each side
  // (shared donor).
  EXPECT_TRUE(has_neighbour_with(s, {{"N1", "O2", true, 2.725},
                                     {"O2", "N1", false, 2.725},
                                     {"N1", "O3", true, 3.160},
                                     {"O3", "N1", false, 3.160}}));
  // The molecules one lattice step along a + c on either side: N1-H...O3 2.62 A. Two such rails
  // through an inversion dimer and its translate close an R4 ring: the dimers stack into an
  // R2R4 ladder, in which N1 gives both its dimer bond and its rail bond (shared donor), O2 takes
  // the dimer bond and O3 the rail bond. Read with O3 for both acceptances (through the 3.16 A
  // contact) the same ladder has one donor and one acceptor per molecule.
  EXPECT_TRUE(has_neighbour_with(s, {{"N1", "O3", true, 2.624}}));
  EXPECT_TRUE(has_neighbour_with(s, {{"O3", "N1", false, 2.624}}));
  // The plain ladder needs two separate donor groups in every inner molecule, but every link to
  // the ladder's partners (the inversion dimer and the rail neighbours) starts at N1: N2-H
  // reaches only the screw-related molecules, which belong to no R4 ring with them.
  for (std::size_t i = 0; i < s.neighbours.size(); ++i)
    for (const auto &l : s.links[i])
      if ((l.first == "N2" && l.first_donates) || (l.second == "N2" && l.second_donates)) {
        EXPECT_EQ(l.first == "N2" ? l.second : l.first, "O1");
        EXPECT_EQ(s.links[i].size(), 2u);
      }
  // No two neighbours are joined to each other: no three-molecule ring.
  EXPECT_FALSE(has_triangle(*crystal, s));

  check_searches("amide__2100438-cell-vol.cif", crystal,
                 {{"r2_ribbon", Want::Hit},
                  {"r2_ribbon_shared_acceptor", Want::Hit},
                  {"r2_ribbon_shared_donor", Want::Hit},
                  {"r3_ribbon", Want::None},
                  {"r2r4_ladder", Want::None},
                  {"r2r4_ladder_shared_donor_and_acceptor", Want::Hit},
                  {"r2r4_ladder_shared_donor", Want::Hit}});
}

TEST(ExtendedRingRealData, DeoxycytidineRibbonSharesTheCarbonylAcceptor) {
  // 5-Ethyl-2'-deoxycytidine: donors O3'-H, O5'-H and the amino N4H2; acceptors O2, O4', N3
  // and the donors themselves.
  auto crystal = load("urea__2010359.cif");
  const Census s = census(*crystal, 0);
  // Along the 2-fold screw axis parallel to b each molecule is joined to the next by
  // O3'-H...O2 2.71 A and N4-H...O2 2.91 A: the base carbonyl O2 takes one bond from each
  // neighbour. That chain is an R2 ribbon with a shared acceptor.
  EXPECT_TRUE(has_neighbour_with(s, {{"O3'", "O2", true, 2.708}, {"O2", "N4", false, 2.913}}));
  EXPECT_TRUE(has_neighbour_with(s, {{"O2", "O3'", false, 2.708}, {"N4", "O2", true, 2.913}}));
  // The plain R2 ribbon needs four different groups in an inner molecule; the screw pairs go
  // through O2 on both sides, and the only other doubly joined pairs (along a: O5'-H...O5'
  // 2.78 A with O5'...O4' 3.21 A) have both contacts on one O5', so they close no ring of
  // four different atoms.
  int doubles = 0;
  for (const auto &links : s.links)
    if (links.size() >= 2) {
      ++doubles;
      std::set<std::string> origin_atoms, other_atoms;
      for (const auto &l : links) {
        origin_atoms.insert(l.first);
        other_atoms.insert(l.second);
      }
      const bool through_o2 = origin_atoms.count("O2") && other_atoms.count("O2");
      const bool one_atom_side = origin_atoms.size() == 1 || other_atoms.size() == 1;
      EXPECT_TRUE(through_o2 || one_atom_side);
    }
  EXPECT_EQ(doubles, 4);
  EXPECT_FALSE(has_triangle(*crystal, s));

  check_searches("urea__2010359.cif", crystal,
                 {{"r2_ribbon", Want::None},
                  {"r2_ribbon_shared_acceptor", Want::Hit},
                  {"r2_ribbon_shared_donor", Want::Open},
                  {"r3_ribbon", Want::None},
                  {"r2r4_ladder", Want::Open},
                  {"r2r4_ladder_shared_donor_and_acceptor", Want::Open},
                  {"r2r4_ladder_shared_donor", Want::Open}});
}

// ---------------------------------------------------------------------------------------------
// The census of hydrogen-bonding groups on real files

TEST(ExtendedRingRealData, CensusOfIbuprofenAndGlycylglycine) {
  // Ibuprofen's molecule holds one O-H and one C=O; glycylglycine's one amide N-H, one NH3+, and
  // three O without hydrogen. Neither has an N without hydrogen or an OH2.
  CifDatabase db({testing::require_data("curated/acid__2300214-r274507.cif").string(),
                  testing::require_data("curated/amide__2100438-cell-vol.cif").string()});
  ASSERT_EQ(db.nentries(), 2);
  ExtendedRingMotifs::count_acceptors_donors(db);
  std::ifstream in(ExtendedRingMotifs::acceptors_donors_path());
  std::vector<std::string> lines;
  for (std::string line; std::getline(in, line);)
    lines.push_back(line);
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[0], "identifier\tOH1\tOH2\tNH1\tNH2\tNH3\tO\tN");
  const std::string ibuprofen = db.entry(0)->identifier().str();
  const std::string glycylglycine = db.entry(1)->identifier().str();
  EXPECT_EQ(lines[1], ibuprofen + "\t1\t0\t0\t0\t0\t1\t0");
  EXPECT_EQ(lines[2], glycylglycine + "\t0\t0\t1\t0\t1\t3\t0");
  std::remove(ExtendedRingMotifs::acceptors_donors_path().c_str());
}

} // namespace
} // namespace xtalmotif
