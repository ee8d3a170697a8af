#include "db/aser_database.h"
#include "crystal/cif_reader.h"

#include "database_test_support.h"
#include "kernel_test_molecules.h"
#include "test_data.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <algorithm>
#include <chrono>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace xtalmotif {
namespace {

namespace fs = std::filesystem;
using testing::MoleculeBuilder;
using testing::read_text;
using testing::require_data;
using testing::ScratchDir;
using testing::write_text;

std::set<int> bits_of(const Aser& a) {
  auto v = a.set_bits();
  return std::set<int>(v.begin(), v.end());
}

THandle<CrystalMaker> crystal_of(std::vector<Molecule> molecules) {
  auto c = make_handle<CrystalMaker>();
  for (auto& m : molecules)
    c->add_molecule(make_handle<Molecule>(m));
  return c;
}

// The pattern a query made of this molecule (or part of it) would require, built the way a
// motif builds its pattern from a substructure: every atom's element, the bonds between the
// atoms, and the exact numbers of N, O and halogen atoms.
AserBitScreens query_pattern(const Molecule& m, const std::vector<int>& atoms) {
  AserBitScreens s;
  int n = 0, o = 0, x = 0;
  std::set<int> in(atoms.begin(), atoms.end());
  for (int a : atoms) {
    const std::string sym = m.atom(a)->element().symbol();
    s.set_element_present(sym);
    n += sym == "N";
    o += sym == "O";
    x += s.is_member_of_group(sym, AserBitScreens::HALOGENS) ? 1 : 0;
  }
  for (const auto& b : m.bonds())
    if (in.count(b->atom1()) && in.count(b->atom2()))
      s.set_simple_connection(m.atom(b->atom1())->element().symbol(),
                              m.atom(b->atom2())->element().symbol());
  s.set_N_count(n);
  s.set_O_count(o);
  s.set_X3_count(x);
  return s;
}

std::vector<int> all_atoms(const Molecule& m) {
  std::vector<int> v(static_cast<std::size_t>(m.natoms()));
  for (int i = 0; i < m.natoms(); ++i)
    v[static_cast<std::size_t>(i)] = i;
  return v;
}

// ---------------------------------------------------------------------------------------------

TEST(AserRecord, BitsReadBackAndUnsetBitsAreFalse) {
  Aser a;
  EXPECT_FALSE(a.bit(0));
  EXPECT_FALSE(a.bit(559));
  EXPECT_FALSE(a.bit(-3));
  a.set_bit(0);
  a.set_bit(559);
  a.set_bit(1023);
  EXPECT_TRUE(a.bit(0));
  EXPECT_TRUE(a.bit(559));
  EXPECT_FALSE(a.bit(558));
  EXPECT_FALSE(a.bit(560));
  EXPECT_FALSE(a.bit(5000));
  EXPECT_EQ(a.set_bits(), (std::vector<int>{0, 559, 1023}));
  a.set_bit(1023, false);
  EXPECT_FALSE(a.bit(1023));
  EXPECT_THROW(a.set_bit(-1), std::out_of_range);
  EXPECT_THROW(a.set_bit(Aser::max_bit + 1), std::out_of_range);
}

TEST(AserRecord, BlobIsCompactAndRoundTrips) {
  Aser a;
  EXPECT_EQ(a.to_blob(), "");
  a.set_bit(9); // byte 1, bit 1
  a.set_bit(0);
  EXPECT_EQ(a.to_blob(), std::string("\x01\x02", 2));
  a.set_bit(559);
  EXPECT_EQ(a.to_blob().size(), 70u); // 559 / 8 = 69, so 70 bytes
  EXPECT_EQ(Aser::from_blob(a.to_blob()), a);
  // Clearing the top bit shrinks the record back, so equal records have equal bytes.
  a.set_bit(559, false);
  EXPECT_EQ(a.to_blob(), std::string("\x01\x02", 2));
  EXPECT_EQ(Aser::from_blob(std::string("\x01\x02\x00\x00", 4)), a);
  EXPECT_THROW(Aser::from_blob(std::string(129, '\x01')), std::invalid_argument);
}

TEST(AserRecord, MadeFromThePatternsTrueBits) {
  AserBitScreens s;
  s.screens[16] = true;
  s.screens[54] = false;
  s.screens[302] = true;
  Aser a(s);
  EXPECT_EQ(bits_of(a), (std::set<int>{16, 302}));
  EXPECT_TRUE(a.satisfies(s));
  AserBitScreens wants_54;
  wants_54.screens[54] = true;
  EXPECT_FALSE(a.satisfies(wants_54));
  EXPECT_TRUE(a.satisfies(AserBitScreens()));
}

// ---------------------------------------------------------------------------------------------

TEST(EntryScreens, AceticAcidWithHydrogenSites) {
  Aser a = entry_screens(*crystal_of({testing::acetic_acid()}));
  // O group 16; H 30 and 31; two O in the molecule 264; C-C 302; C-O 268 and 274; O-H 277;
  // no disorder 32. No site, no R factor, no metal, no errors: no other quality bit.
  EXPECT_EQ(bits_of(a), (std::set<int>{16, 30, 31, 32, 264, 268, 274, 277, 302}));
}

TEST(EntryScreens, ImpliedHydrogensCountAsPresentAndBonded) {
  Aser acetate = entry_screens(*crystal_of({testing::acetate_without_h()}));
  // The methyl group's implied H make hydrogen present; C-H bonds set no bit; no O-H.
  EXPECT_EQ(bits_of(acetate), (std::set<int>{16, 30, 31, 32, 264, 268, 274, 302}));

  MoleculeBuilder b;
  int c = b.atom_with_implicit_h("C", 3), o = b.atom_with_implicit_h("O", 1);
  b.bond(c, o);
  Aser methanol = entry_screens(*crystal_of({b.molecule()}));
  // A query O-H donor must find the implied O-H of methanol refined without H sites.
  EXPECT_EQ(bits_of(methanol), (std::set<int>{16, 30, 31, 32, 268, 274, 277}));
  AserBitScreens donor;
  donor.set_element_present("O");
  donor.set_element_present("H");
  donor.set_simple_connection("O", "H");
  EXPECT_TRUE(methanol.satisfies(donor));
  EXPECT_FALSE(acetate.satisfies(donor));
}

TEST(EntryScreens, CountsAreTheLargestInOneMoleculeWithEveryThreshold) {
  auto chain = [](const char* sym, int n) {
    MoleculeBuilder b;
    for (int i = 0; i < n; ++i)
      b.atom(sym);
    for (int i = 1; i < n; ++i)
      b.bond(i - 1, i);
    return b.molecule();
  };
  auto count_bits = [](const Aser& a) {
    std::set<int> out;
    for (int bit = 257; bit <= 266; ++bit)
      if (a.bit(bit))
        out.insert(bit);
    return out;
  };
  // Two N2 molecules: four nitrogens in the structure but only two in any one molecule.
  EXPECT_EQ(count_bits(entry_screens(*crystal_of({chain("N", 2), chain("N", 2)}))),
            (std::set<int>{261}));
  // Five nitrogens in one molecule: at least 2, 3 and 4.
  EXPECT_EQ(count_bits(entry_screens(*crystal_of({chain("N", 5)}))),
            (std::set<int>{261, 262, 263}));
  EXPECT_EQ(count_bits(entry_screens(*crystal_of({chain("O", 1), chain("O", 4)}))),
            (std::set<int>{264, 265, 266}));
  EXPECT_EQ(count_bits(entry_screens(*crystal_of({chain("O", 3)}))), (std::set<int>{264, 265}));

  MoleculeBuilder ccl4;
  int c = ccl4.atom("C");
  for (int i = 0; i < 4; ++i)
    ccl4.bond(c, ccl4.atom("Cl"));
  EXPECT_EQ(count_bits(entry_screens(*crystal_of({ccl4.molecule()}))), (std::set<int>{257, 258}));
  // Astatine is no halogen for counting.
  EXPECT_EQ(count_bits(entry_screens(*crystal_of({chain("At", 3)}))), (std::set<int>{}));

  // Three separate sodium ions: one metal per molecule. A Cu-Cu unit: two in one.
  EXPECT_EQ(
      count_bits(entry_screens(*crystal_of({chain("Na", 1), chain("Na", 1), chain("Na", 1)}))),
      (std::set<int>{}));
  EXPECT_EQ(count_bits(entry_screens(*crystal_of({chain("Cu", 2)}))), (std::set<int>{259}));
  EXPECT_EQ(count_bits(entry_screens(*crystal_of({chain("Cu", 3)}))), (std::set<int>{259, 260}));
}

TEST(EntryScreens, QualityBitsFollowTheStructure) {
  MoleculeBuilder b;
  int fe = b.atom("Fe"), n = b.atom("N");
  b.bond(fe, n);
  auto c = crystal_of({b.molecule()});
  Aser plain = entry_screens(*c);
  // Fe: 8, 29, 22, 21, 28; N: 15; Fe-N: metal-N 285; metal present 57; no disorder 32.
  EXPECT_EQ(bits_of(plain), (std::set<int>{8, 15, 21, 22, 28, 29, 32, 57, 285}));

  c->molecule(0)->atom(0)->set_site(make_handle<Site>(Point(0.1, 0.2, 0.3), Point(1, 2, 3)));
  c->set_r_factor(0.05);
  c->set_disorder(true);
  c->add_error("valence of N1 unresolved");
  c->set_polymeric(true);
  Aser flagged = entry_screens(*c);
  EXPECT_TRUE(flagged.bit(153));
  EXPECT_TRUE(flagged.bit(35)); // at most 0.05
  EXPECT_FALSE(flagged.bit(32));
  EXPECT_TRUE(flagged.bit(559));
  EXPECT_TRUE(flagged.bit(54));
  c->set_r_factor(0.0501);
  EXPECT_FALSE(entry_screens(*c).bit(35));
  c->set_r_factor(-1); // not given
  EXPECT_FALSE(entry_screens(*c).bit(35));

  // The filters' patterns agree with these bits.
  EXPECT_TRUE(plain.satisfies(*Filters(false, false, true, true, true, true, true).bit_screens()));
  EXPECT_FALSE(
      flagged.satisfies(*Filters(false, false, false, true, false, false, false).bit_screens()));
  EXPECT_TRUE(
      flagged.satisfies(*Filters(true, true, false, false, false, true, true).bit_screens()));
  EXPECT_FALSE(
      flagged.satisfies(*Filters(false, false, true, false, false, false, false).bit_screens()));
}

TEST(EntryScreens, EmptyStructureSetsOnlyTheQualityBits) {
  EXPECT_EQ(bits_of(entry_screens(CrystalMaker())), (std::set<int>{32}));
}

// ---------------------------------------------------------------------------------------------
// Real structures

class CuratedIndex : public ::testing::Test {
protected:
  static void SetUpTestSuite() {
    dir_ = new ScratchDir();
    index_ = (dir_->path() / "curated.xtalscreens").string();
    CifDatabase db({require_data("curated").string()});
    summary_ = new ScreenIndexSummary(build_screen_index(db, index_));
  }
  static void TearDownTestSuite() {
    delete summary_;
    delete dir_;
  }
  static ScratchDir* dir_;
  static std::string index_;
  static ScreenIndexSummary* summary_;
};
ScratchDir* CuratedIndex::dir_ = nullptr;
std::string CuratedIndex::index_;
ScreenIndexSummary* CuratedIndex::summary_ = nullptr;

TEST_F(CuratedIndex, ReopenedIndexAgreesWithAFreshComputation) {
  CifDatabase db({require_data("curated").string()});
  AserDatabase screened(index_);
  EXPECT_EQ(summary_->entries, db.nentries());
  EXPECT_EQ(screened.nentries(), db.nentries() - summary_->unreadable);
  EXPECT_EQ(screened.index_path(), index_);
  int compared = 0;
  for (int i = 0; i < db.nentries(); ++i) {
    auto e = db.entry(i);
    THandle<CrystalMaker> c;
    try {
      c = e->crystal();
    } catch (const CifError&) {
      EXPECT_FALSE(screened.contains(e->identifier())) << e->identifier();
      continue;
    }
    ASSERT_TRUE(screened.contains(e->identifier())) << e->identifier();
    EXPECT_EQ(*screened.aser(e->identifier()), entry_screens(*c)) << e->identifier();
    // The screened database finds the same structure.
    EXPECT_EQ(screened.entry(e->identifier())->source_file(),
              fs::absolute(e->source_file()).lexically_normal().string());
    ++compared;
  }
  EXPECT_GE(compared, 30);
  // Each call gives a new record.
  auto id = DatabaseEntryIdentifier("2300214");
  EXPECT_NE(screened.aser(id), screened.aser(id));
  EXPECT_THROW(screened.aser(DatabaseEntryIdentifier("NOSUCH")), std::out_of_range);
}

TEST_F(CuratedIndex, CarboxylicAcidEntryHasItsBits) {
  AserDatabase screened(index_);
  // Ibuprofen C13H18O2: O present (16), H (30, 31), at least two O in the molecule (264) but not
  // three (265), C-C (302), C-O (268, 274), the acid O-H (277); no N, no metal.
  Aser a = *screened.aser(DatabaseEntryIdentifier("2300214"));
  for (int bit : {16, 30, 31, 264, 268, 274, 277, 302, 153})
    EXPECT_TRUE(a.bit(bit)) << bit;
  for (int bit : {15, 17, 265, 261, 57, 28, 54})
    EXPECT_FALSE(a.bit(bit)) << bit;
}

TEST_F(CuratedIndex, MetalEntryHasMetalAndQualityBits) {
  AserDatabase screened(index_);
  // Li3[Cr(C2O4)3].6H2O, R = 0.032: lithium (1, 25), chromium (6, 22), transition and metal
  // classes (21, 28, 57), six O on one tris-oxalate (264-266), Cr-O bonds (O-metal 289),
  // water O-H (277).
  Aser a = *screened.aser(DatabaseEntryIdentifier("2010014"));
  for (int bit :
       {1, 6, 16, 21, 22, 25, 28, 30, 35, 57, 153, 264, 265, 266, 268, 274, 277, 289, 302})
    EXPECT_TRUE(a.bit(bit)) << bit;
  EXPECT_FALSE(a.bit(15));
  // The silver carboxylate coordination polymer is marked polymeric.
  EXPECT_TRUE(screened.aser(DatabaseEntryIdentifier("7051216"))->bit(54));
  EXPECT_TRUE(screened.aser(DatabaseEntryIdentifier("7051216"))->bit(11));
}

TEST_F(CuratedIndex, NoMoleculeOfAnEntryIsScreenedOutOfIt) {
  // Whatever a query drawn from an entry's own molecules requires, the entry has: the whole
  // molecule, and each atom with its bonded neighbours.
  AserDatabase screened(index_);
  int checked = 0;
  for (int i = 0; i < screened.nentries(); ++i) {
    auto e = screened.entry(i);
    THandle<CrystalMaker> c = e->crystal();
    Aser stored = *screened.aser(e->identifier());
    for (int m = 0; m < c->nmolecules(); ++m) {
      const Molecule& mol = *c->molecule(m);
      EXPECT_TRUE(stored.satisfies(query_pattern(mol, all_atoms(mol))))
          << e->identifier() << " molecule " << m;
      for (int a = 0; a < mol.natoms(); ++a) {
        std::vector<int> star = mol.neighbours(a);
        star.push_back(a);
        EXPECT_TRUE(stored.satisfies(query_pattern(mol, star)))
            << e->identifier() << " molecule " << m << " atom " << a;
        ++checked;
      }
    }
  }
  EXPECT_GT(checked, 500);
}

TEST(ScreenIndexHydrogens, StructureWithoutHydrogenSitesStillOffersItsDonors) {
  // A lactone carboxylic acid, C11H16O4, with its H rows taken out of the atom list, as in a
  // structure refined without H sites: a query that draws the hydrogen of any atom carrying
  // implied hydrogens must pass the screen, the acid's O-H included.
  ScratchDir dir;
  std::istringstream full(read_text(require_data("curated/acid__4022630-degrees-cendigrades.cif")));
  std::string stripped;
  for (std::string line; std::getline(full, line);) {
    std::istringstream words(line);
    std::string label, type;
    words >> label >> type;
    // Atom rows of this file read "H4 H x y z ...".
    if (!(label.size() > 1 && label[0] == 'H' && type == "H"))
      stripped += line + "\n";
  }
  write_text(dir / "cifs/acid-no-h.cif", stripped);
  CifDatabase db({(dir / "cifs").string()});
  ASSERT_EQ(db.nentries(), 1);
  const std::string index = (dir / "i.idx").string();
  ScreenIndexSummary summary = build_screen_index(db, index);
  ASSERT_EQ(summary.unreadable, 0) << summary.problems.front();
  AserDatabase screened(index);
  auto id = DatabaseEntryIdentifier("4022630");
  THandle<CrystalMaker> c = screened.entry(id)->crystal();
  Aser stored = *screened.aser(id);
  int with_h = 0;
  for (int m = 0; m < c->nmolecules(); ++m) {
    for (const auto& atom : c->molecule(m)->atoms()) {
      EXPECT_FALSE(atom->element().is_hydrogen());
      if (atom->implicit_hydrogens() > 0) {
        AserBitScreens q;
        q.set_element_present(atom->element());
        q.set_element_present("H");
        q.set_simple_connection(atom->element().symbol(), "H");
        EXPECT_TRUE(stored.satisfies(q)) << atom->label();
        ++with_h;
      }
    }
  }
  EXPECT_GT(with_h, 5);
  // O, H, four O in the molecule, and the implied acid O-H; the missing H sites are flagged.
  for (int bit : {16, 30, 31, 264, 265, 266, 277, 559})
    EXPECT_TRUE(stored.bit(bit)) << bit;
}

TEST_F(CuratedIndex, OpeningWithTheSameSourcesWorksAndOtherSourcesAreRefused) {
  EXPECT_NO_THROW(AserDatabase({require_data("curated").string()}, index_));
  try {
    AserDatabase({require_data("curated/acid__2300214-r274507.cif").string()}, index_);
    ADD_FAILURE() << "no error";
  } catch (const StaleScreenIndexError& e) {
    EXPECT_NE(std::string(e.what()).find(index_), std::string::npos) << e.what();
  }
}

// ---------------------------------------------------------------------------------------------
// Building and opening index files

// The message of the error opening the index gives, or "" when it opens.
std::string error_opening(const std::string& path) {
  try {
    AserDatabase db(path);
  } catch (const ScreenIndexError& e) {
    return e.what();
  }
  return "";
}

// Whether opening the index fails because it no longer fits its files (rather than being no
// index or a damaged one).
bool is_stale(const std::string& path) {
  try {
    AserDatabase db(path);
  } catch (const StaleScreenIndexError&) {
    return true;
  } catch (const ScreenIndexError&) {
    return false;
  }
  return false;
}

// Two real structures and one block that cannot be built, in a folder of their own.
void small_database(const ScratchDir& dir) {
  fs::copy_file(require_data("curated/acid__2300214-r274507.cif"), dir / "cifs/a.cif");
  write_text(dir / "cifs/b.cif", testing::listable_block("broken"));
  fs::copy_file(require_data("curated/urea__2203315.cif"), dir / "cifs/c.cif");
}

// The small database in `dir`/cifs and a screen index of it named `name`, built afresh.
std::string small_index(const ScratchDir& dir, const std::string& name) {
  fs::create_directories(dir / "cifs");
  small_database(dir);
  const std::string index = (dir / name).string();
  build_screen_index(CifDatabase({(dir / "cifs").string()}), index);
  return index;
}

TEST(ScreenIndexFiles, UnreadableEntryIsKeptAsARowAndReported) {
  ScratchDir dir;
  fs::create_directories(dir / "cifs");
  small_database(dir);
  CifDatabase db({(dir / "cifs").string()});
  ASSERT_EQ(db.nentries(), 3);
  const std::string index = (dir / "small.idx").string();
  std::vector<std::string> seen;
  ScreenIndexOptions options;
  options.progress = [&seen](const ScreenIndexProgress& p) {
    seen.push_back(std::to_string(p.done) + "/" + std::to_string(p.total) + " " +
                   p.location->id.str() + (p.readable ? "" : " unreadable"));
  };
  ScreenIndexSummary s = build_screen_index(db, index, options);
  EXPECT_EQ(seen,
            (std::vector<std::string>{"1/3 2300214", "2/3 broken unreadable", "3/3 2203315"}));
  EXPECT_EQ(s.entries, 3);
  EXPECT_EQ(s.unreadable, 1);
  ASSERT_EQ(s.problems.size(), 1u);
  EXPECT_NE(s.problems[0].find("b.cif"), std::string::npos);

  AserDatabase screened(index);
  EXPECT_EQ(screened.nentries(), 2);
  EXPECT_FALSE(screened.contains(DatabaseEntryIdentifier("broken")));
  ASSERT_EQ(screened.problems().size(), 1u);
  EXPECT_NE(screened.problems()[0].find("b.cif"), std::string::npos);
  EXPECT_NE(screened.problems()[0].find("broken"), std::string::npos);
  // Urea derivative C6H7N3O3: three N and three O in the molecule.
  Aser urea = *screened.aser(DatabaseEntryIdentifier("2203315"));
  for (int bit : {15, 16, 261, 262, 264, 265, 273})
    EXPECT_TRUE(urea.bit(bit)) << bit;
  EXPECT_FALSE(urea.bit(263));
  EXPECT_FALSE(urea.bit(266));
}

// Units run out of order, as on threads, still give the rows in database order.
struct BackwardsExecutor : Executor {
  int workers() const override { return 3; }
  void run(int n, const std::function<void(int, int)>& work) override {
    for (int u = n - 1; u >= 0; --u)
      work(u, u % 3);
  }
};

TEST(ScreenIndexFiles, BuildOnAnExecutorWritesTheSameRows) {
  ScratchDir dir;
  fs::create_directories(dir / "cifs");
  small_database(dir);
  CifDatabase db({(dir / "cifs").string()});
  BackwardsExecutor backwards;
  ScreenIndexOptions two;
  two.executor = &backwards;
  build_screen_index(db, (dir / "one.idx").string());
  build_screen_index(db, (dir / "two.idx").string(), two);
  AserDatabase one((dir / "one.idx").string()), other((dir / "two.idx").string());
  ASSERT_EQ(one.nentries(), other.nentries());
  for (int i = 0; i < one.nentries(); ++i) {
    auto id = one.entry(i)->identifier();
    EXPECT_EQ(other.entry(i)->identifier(), id);
    EXPECT_EQ(*one.aser(id), *other.aser(id));
  }
}

TEST(ScreenIndexFiles, MissingTextAndDamagedFilesGiveErrorsNamingThem) {
  ScratchDir dir;
  fs::create_directories(dir / "cifs");
  small_database(dir);
  CifDatabase db({(dir / "cifs").string()});
  const std::string good = (dir / "good.idx").string();
  build_screen_index(db, good);
  ASSERT_EQ(error_opening(good), "");

  const std::string missing = (dir / "missing.idx").string();
  EXPECT_NE(error_opening(missing).find(missing), std::string::npos);
  EXPECT_FALSE(is_stale(missing));

  const std::string text = (dir / "notes.idx").string();
  write_text(text, "This is a list of structures, not an index.\n2300214\n2203315\n");
  EXPECT_NE(error_opening(text).find(text), std::string::npos);
  EXPECT_FALSE(is_stale(text));

  const std::string empty = (dir / "empty.idx").string();
  write_text(empty, "");
  EXPECT_NE(error_opening(empty).find(empty), std::string::npos);
  EXPECT_FALSE(is_stale(empty));

  const std::string bytes = read_text(good);
  ASSERT_GT(bytes.size(), 4096u);
  // Cut short.
  const std::string cut = (dir / "cut.idx").string();
  write_text(cut, bytes.substr(0, bytes.size() / 2));
  EXPECT_NE(error_opening(cut).find(cut), std::string::npos);
  EXPECT_FALSE(is_stale(cut));
  // Every page but the first overwritten with noise.
  std::string noisy = bytes;
  for (std::size_t i = 100; i < noisy.size(); ++i)
    noisy[i] = static_cast<char>((i * 131) % 251);
  const std::string noise = (dir / "noise.idx").string();
  write_text(noise, noisy);
  EXPECT_NE(error_opening(noise).find(noise), std::string::npos);
  // One byte changed in each place in turn: the index is refused or reads exactly as written.
  AserDatabase reference(good);
  int refused = 0;
  const std::string flipped_path = (dir / "flipped.idx").string();
  for (std::size_t pos = 100; pos < bytes.size(); pos += 97) {
    std::string flipped = bytes;
    flipped[pos] = static_cast<char>(flipped[pos] ^ 0x5a);
    write_text(flipped_path, flipped);
    try {
      AserDatabase db(flipped_path);
      ASSERT_EQ(db.nentries(), reference.nentries()) << pos;
      for (int i = 0; i < db.nentries(); ++i) {
        auto id = reference.entry(i)->identifier();
        ASSERT_TRUE(db.contains(id)) << pos;
        EXPECT_EQ(*db.aser(id), *reference.aser(id)) << pos;
      }
    } catch (const ScreenIndexError& e) {
      EXPECT_NE(std::string(e.what()).find(flipped_path), std::string::npos) << e.what();
      ++refused;
    }
  }
  EXPECT_GT(refused, 0);
}

TEST(ScreenIndexFiles, ChangedFilesMakeTheIndexOutOfDate) {
  ScratchDir dir;
  const std::string index = small_index(dir, "i.idx");
  ASSERT_EQ(error_opening(index), "");

  // A new file in the folder would be an entry the index knows nothing about.
  fs::copy_file(require_data("curated/negative__2100348-benzene.cif"), dir / "cifs/d.cif");
  std::string err = error_opening(index);
  EXPECT_NE(err.find(index), std::string::npos) << err;
  EXPECT_NE(err.find("d.cif"), std::string::npos) << err;
  EXPECT_TRUE(is_stale(index));
  fs::remove(dir / "cifs/d.cif");
  EXPECT_EQ(error_opening(index), "");

  // A file whose content changed.
  write_text(dir / "cifs/c.cif", read_text(dir / "cifs/c.cif") + "\n# edited\n");
  err = error_opening(index);
  EXPECT_NE(err.find("c.cif"), std::string::npos) << err;
  EXPECT_TRUE(is_stale(index));
  // A file that disappeared.
  build_screen_index(CifDatabase({(dir / "cifs").string()}), index);
  ASSERT_EQ(error_opening(index), "");
  fs::remove(dir / "cifs/a.cif");
  EXPECT_TRUE(is_stale(index));

  // A file replaced by one of the same size with its time put back passes the opening check,
  // but its block is refused when read, so that no structure is searched against the screens
  // of another.
  fs::copy_file(require_data("curated/acid__2300214-r274507.cif"), dir / "cifs/a.cif");
  build_screen_index(CifDatabase({(dir / "cifs").string()}), index);
  const auto time = fs::last_write_time(dir / "cifs/a.cif");
  std::string text = read_text(dir / "cifs/a.cif");
  const std::size_t at = text.find("_cell_length_a");
  ASSERT_NE(at, std::string::npos);
  text[at + text.substr(at).find('.') + 1] ^= 1; // one digit of the cell length changed
  write_text(dir / "cifs/a.cif", text);
  fs::last_write_time(dir / "cifs/a.cif", time);
  AserDatabase screened(index);
  try {
    screened.entry(DatabaseEntryIdentifier("2300214"))->crystal();
    ADD_FAILURE() << "a changed block was read";
  } catch (const CifError& e) {
    EXPECT_NE(std::string(e.what()).find("a.cif: block 2300214: the file has changed since it "
                                         "was indexed; rebuild the screen index"),
              std::string::npos)
        << e.what();
  }
  EXPECT_NO_THROW(screened.entry(DatabaseEntryIdentifier("2203315"))->crystal());
}

// Opening a file is safe whatever it holds: a file made to look like an index but defining
// views, triggers or other tables (which reading would run, endlessly or filling the disk with
// temporary files) is refused before any table is read, and quickly.
TEST(ScreenIndexFiles, CraftedIndexesAreRefusedBeforeAnyTableIsRead) {
  ScratchDir dir;
  const std::string good = small_index(dir, "good.idx");
  const std::string endless = "WITH RECURSIVE r(n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM r) ";
  const std::vector<std::pair<std::string, std::string>> alterations = {
      {"DROP TABLE meta; CREATE VIEW meta(key, value) AS " + endless + "SELECT 'format', n FROM r",
       "unexpected view meta"},
      {"DROP TABLE meta; CREATE VIEW meta(key, value) AS " + endless +
           "SELECT 'format', randomblob(1000) FROM r ORDER BY 2",
       "unexpected view meta"},
      {"CREATE TRIGGER t BEFORE DELETE ON meta BEGIN SELECT 1; END", "unexpected trigger t"},
      {"ALTER TABLE entries ADD COLUMN extra TEXT", "unexpected table entries"},
      {"CREATE TABLE notes(x)", "unexpected table notes"},
      {"CREATE INDEX by_file ON entries(file)", "unexpected index by_file"},
  };
  for (const auto& [sql, message] : alterations) {
    const std::string crafted = (dir / "crafted.idx").string();
    fs::copy_file(good, crafted, fs::copy_options::overwrite_existing);
    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open(crafted.c_str(), &db), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK) << sql;
    sqlite3_close(db);
    const auto start = std::chrono::steady_clock::now();
    const std::string error = error_opening(crafted);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2)) << sql;
    EXPECT_NE(error.find(crafted + ": not a screen index of this program (" + message + ")"),
              std::string::npos)
        << sql << "\n" << error;
  }
}

TEST(ScreenIndexFiles, IndexIsWrittenCompletelyOrNotAtAll) {
  ScratchDir dir;
  fs::create_directories(dir / "cifs");
  small_database(dir);
  CifDatabase db({(dir / "cifs").string()});
  const std::string index = (dir / "out/i.idx").string();
  fs::create_directories(dir / "out");

  ScreenIndexOptions stop_early;
  stop_early.progress = [](const ScreenIndexProgress& p) {
    if (p.done == 2)
      throw std::runtime_error("interrupted");
  };
  EXPECT_THROW(build_screen_index(db, index, stop_early), std::runtime_error);
  EXPECT_FALSE(fs::exists(index));
  EXPECT_TRUE(fs::is_empty(dir / "out")); // no temporary file left behind

  // An interrupted rebuild leaves the previous index as it was.
  build_screen_index(db, index);
  const std::string before = read_text(index);
  EXPECT_THROW(build_screen_index(db, index, stop_early), std::runtime_error);
  EXPECT_EQ(read_text(index), before);
  EXPECT_EQ(std::distance(fs::directory_iterator(dir / "out"), fs::directory_iterator()), 1);

  // A place that cannot be written is an error naming it.
  const std::string nowhere = (dir / "no/such/folder/i.idx").string();
  try {
    build_screen_index(db, nowhere);
    ADD_FAILURE() << "no error";
  } catch (const ScreenIndexError& e) {
    EXPECT_NE(std::string(e.what()).find(nowhere), std::string::npos) << e.what();
  }
}

} // namespace
} // namespace xtalmotif
