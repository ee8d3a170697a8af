// The stored form of a crystal: loaded back it is the crystal stored, and bytes cut short,
// changed, of another format version or of the other byte order are refused, naming where they
// were kept. An index that stores structures hands them out without reading the CIF files.

#include "crystal/cif_reader.h"
#include "crystal/stored_crystal.h"
#include "db/aser_database.h"

#include "kernel_test_support.h"
#include "test_data.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

namespace xtalmotif {
namespace {

namespace fs = std::filesystem;
using testing::dump;

// What no CIF reader makes: atoms of the plain kind and without a site, a molecule without
// origins, a notice between two warnings, an origin shift that is no multiple of 1/24.
THandle<CrystalMaker> made_in_code() {
  auto c = make_handle<CrystalMaker>();
  c->set_cell(5.1, 6.2, 7.3, 90, 101.5, 90);
  c->set_symmetry_operators({CrystalSymmetryOperator::from_xyz("-x,y+1/2,-z+1/2"),
                             CrystalSymmetryOperator::from_xyz("x+0.0238095,y,z")});
  c->set_symmetry_source("_space_group_symop_operation_xyz", "not a group");
  c->set_space_group_name("P 1 21/c 1");
  c->add_molecule(make_handle<Molecule>(testing::acetate_without_h()));
  auto water = make_handle<Molecule3d>();
  water->add_atom(make_handle<Atom3d>(Element("O"), "O1W",
                                      make_handle<Site>(Point(0.1, 0.2, 0.3), Point(1, 2, 3), 0.5)));
  water->add_atom(make_handle<Atom3d>(Element("D"), "D1", THandle<Site>()));
  water->add_bond(0, 1, BondType::Single);
  AtomOrigin origin{4, 1, Translation(-1, 0, 2), 0.5};
  c->add_molecule(water, {origin, origin});
  c->add_warning("first");
  c->add_notice("labels told apart");
  c->add_warning("second");
  c->add_error("no hydrogen sites");
  c->set_r_factor(0.0412);
  c->set_polymeric(true);
  c->set_has_hydrogen_sites(true);
  return c;
}

class StoredCrystal : public ::testing::TestWithParam<std::string> {
protected:
  THandle<CrystalMaker> crystal() const {
    return GetParam().empty() ? made_in_code()
                              : read_crystal((testing::source_dir() / "data/structures" /
                                              GetParam()).string(), "");
  }
};

TEST_P(StoredCrystal, LoadsAsTheCrystalStored) {
  const auto c = crystal();
  const std::string bytes = store_crystal(*c);
  const auto loaded = load_crystal(bytes, "here");
  EXPECT_EQ(dump(*loaded), dump(*c));
  EXPECT_EQ(store_crystal(*loaded), bytes);
}

// No prefix and no byte changed anywhere loads; each refusal names the place. (What each says
// is seen in the program's tests.)
TEST_P(StoredCrystal, DamagedBytesAreRefusedNamingWhereTheyWereKept) {
  const std::string bytes = store_crystal(*crystal());
  auto refusal = [](const std::string& damaged) -> std::string {
    try {
      load_crystal(damaged, "i.idx: entry 7");
    } catch (const StoredCrystalError& e) {
      return e.what();
    }
    return "loaded";
  };
  for (std::size_t n = 0; n < bytes.size(); ++n)
    ASSERT_EQ(refusal(bytes.substr(0, n)).rfind("i.idx: entry 7: stored structure ", 0), 0u) << n;
  for (std::size_t k = 0; k < bytes.size(); ++k) {
    std::string changed = bytes;
    changed[k] ^= 1;
    ASSERT_EQ(refusal(changed).rfind("i.idx: entry 7: stored structure ", 0), 0u) << k;
  }
}

INSTANTIATE_TEST_SUITE_P(ShippedAndMadeInCode, StoredCrystal,
                         ::testing::Values("4022630.cif", "4504659.cif", "7051216.cif", ""));

// Entries of an index with stored structures are loaded, never read from their files: a block
// changed in place (same size, same time) is refused through a plain index, and through a
// stored one is still the structure indexed.
TEST(StoredStructuresIndex, EntriesAreLoadedWithoutReadingTheirFiles) {
  testing::ScratchDir dir;
  const fs::path cif = dir / "cifs/acid.cif";
  testing::write_text(cif, testing::read_text(testing::source_dir() / "data/structures/4022630.cif"));
  const std::string before = dump(*read_crystal(cif.string(), ""));
  ScreenIndexOptions options;
  build_screen_index(CifDatabase({(dir / "cifs").string()}), (dir / "plain.idx").string());
  options.store_structures = true;
  build_screen_index(CifDatabase({(dir / "cifs").string()}), (dir / "stored.idx").string(),
                     options);
  const auto time = fs::last_write_time(cif);
  std::string text = testing::read_text(cif);
  const std::size_t at = text.find("_cell_length_a");
  text[at + text.substr(at).find('.') + 1] ^= 1; // one digit of the cell length changed
  testing::write_text(cif, text);
  fs::last_write_time(cif, time);
  const AserDatabase plain((dir / "plain.idx").string()), stored((dir / "stored.idx").string());
  EXPECT_FALSE(plain.has_stored_structures());
  EXPECT_THROW(plain.entry(0)->crystal(), CifError);
  ASSERT_TRUE(stored.has_stored_structures());
  EXPECT_EQ(dump(*stored.entry(0)->crystal()), before);
  EXPECT_NE(dump(*read_crystal(cif.string(), "")), before);
  // Structures stored in another format make the whole index out of date, not each entry.
  for (const char* sql : {"UPDATE meta SET value = '1' WHERE key = 'structure_format';",
                          "DELETE FROM meta WHERE key = 'structure_format';"}) {
    const fs::path old = dir / "old.idx";
    fs::copy_file(dir / "stored.idx", old, fs::copy_options::overwrite_existing);
    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open(old.c_str(), &db), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(db, sql, nullptr, nullptr, nullptr), SQLITE_OK) << sql;
    sqlite3_close(db);
    try {
      AserDatabase opened(old.string());
      ADD_FAILURE() << "opened after " << sql;
    } catch (const StaleScreenIndexError& e) {
      const std::string says = e.what();
      EXPECT_EQ(says.rfind(old.string() + ": screen index stores its structures in ", 0), 0u)
          << says;
    }
  }
}

} // namespace
} // namespace xtalmotif
