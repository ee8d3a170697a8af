#include "library/pre_defined_substructures.h"

#include "library_test_helpers.h"

#include "chem/element.h"
#include "chem/molecule.h"
#include "chem/substructure.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>
#include <vector>

namespace xtalmotif {
namespace {

using testing::atoms_text;
using testing::bonds_text;
using Options = PreDefinedSubstructures::GenerationOptions;
using Strings = std::vector<std::string>;

Options plain() { return Options{false, false, false}; }
Options with_h() { return Options{true, false, false}; }
Options no_charges() { return Options{false, true, false}; }
Options any_bonds() { return Options{false, false, true}; }
Options with_h_any_bonds() { return Options{true, false, true}; }

/// One fragment as drawn with all options off, written from the chemistry of each group.
struct Fragment {
  std::string key;
  std::string name;
  Strings atoms;
  Strings bonds;
  bool takes_options = true;
};

// Every key of make_sub, aliases included, in dispatch order.
const std::vector<Fragment> &fragments() {
  static const std::vector<Fragment> table = {
      {"OH1", "OH1", {"O[NH=1]"}, {}},
      {"O", "O", {"O[NH=0]"}, {}, false},
      {"NH2", "NH2", {"N[NH=2]"}, {}},
      {"NH1", "NH1", {"N[NH=1]"}, {}},
      {"NH1+", "NH1+", {"N[NH=1,Q=1]"}, {}},
      {"NH", "NH", {"N[NH>0]"}, {}},
      {"NH3", "NH3", {"N[NH=3]"}, {}},
      {"N", "N", {"N[NH=0]"}, {}, false},
      {"NOO", "nitro", {"N[Q=1]", "O[NB=1,Q=-1]", "O[NB=1]", "C"}, {"0-1:1", "0-2:2", "0-3:1"}},
      {"nitro", "nitro", {"N[Q=1]", "O[NB=1,Q=-1]", "O[NB=1]", "C"}, {"0-1:1", "0-2:2", "0-3:1"}},
      {"SOO", "SOO", {"S", "O", "O"}, {"0-1:2", "0-2:2"}},
      {"sulfonyl",
       "sulfonyl",
       {"S[NB=4]", "O[NB=1]", "O[NB=1]", "C", "C"},
       {"0-1:2", "0-2:2", "0-3:1", "0-4:1"}},
      {"H2O", "H2O", {"O[NH=2]"}, {}},
      {"water", "H2O", {"O[NH=2]"}, {}},
      {"HNCNH", "HNCNH", {"N[NH>0]", "C", "N[NH>0]"}, {"0-1:*", "1-2:*"}, false},
      {"ketone", "ketone", {"O[NB=1]", "C", "C", "C"}, {"0-1:2", "1-2:*", "1-3:*"}},
      {"ether", "ether", {"O[NH=0]", "C", "C"}, {"0-1:1", "0-2:1"}},
      {"ester",
       "ester",
       {"C", "O[NH=0,NB=2]", "C", "O[NH=0,NB=1]", "C"},
       {"0-1:1", "1-2:1", "2-3:2", "2-4:1"}},
      {"carbamoyl", "carbamoyl", {"N[NH=2]", "C", "O"}, {"0-1:1", "1-2:2"}},
      {"amino", "amino", {"N[NH=2]", "C"}, {"0-1:1"}},
      {"charged amino", "charged amino", {"N[NH=3]", "C"}, {"0-1:1"}},
      {"amine", "amine", {"N[NH=1]", "C", "C"}, {"0-1:1", "0-2:1"}},
      {"cyano", "cyano", {"C", "C[NB=2]", "N[NH=0,NB=1]"}, {"0-1:1", "1-2:3"}},
      {"imino", "imino", {"N[NH=1]", "C"}, {"0-1:2"}},
      {"F", "F", {"F[Q=-1,NB=0]"}, {}},
      {"Cl", "Cl", {"Cl[Q=-1,NB=0]"}, {}},
      {"Br", "Br", {"Br[Q=-1,NB=0]"}, {}},
      {"I", "I", {"I[Q=-1,NB=0]"}, {}},
      {"hydroxy", "hydroxy", {"O[NH=1]", "C"}, {"0-1:1"}},
      {"carboxylic acid",
       "carboxylic acid",
       {"O[NB=1]", "O[NH=1,NB=2]", "C", "C"},
       {"0-2:2", "1-2:1", "2-3:1"}},
      {"COO-", "COO-", {"O[NH=0,NB=1]", "O[NH=0,NB=1,Q=-1]", "C"}, {"0-2:2", "1-2:1"}},
      {"aromatic N", "aromatic N", {"N[NH=0,NB=2,ring=1]", "*", "*"}, {"0-1:5", "0-2:5"}},
      {"formyl", "formyl", {"O[NH=0]", "C[NH=1]", "C"}, {"0-1:2", "1-2:1"}},
      {"acetyl", "acetyl", {"O[NH=0]", "C", "C", "C[NH=3]"}, {"1-2:1", "0-1:2", "1-3:1"}},
      {"C3NH+", "C3NH+", {"N[NH=1,Q=1]", "C", "C", "C"}, {"0-1:1", "0-2:1", "0-3:1"}},
      {"CONH", "CONH", {"O[NB=1]", "C", "N[NH=1]"}, {"0-1:2", "1-2:*/ring1"}},
      {"trans-amide", "trans_amide", {"O[NB=1]", "C", "N[NH=1]"}, {"0-1:2", "1-2:*/ring0"}},
      {"acyclic amide",
       "acyclic amide",
       {"C", "C[ring=0,NB=3]", "C", "O[NB=1]", "N[ring=0,NH=1]"},
       {"0-1:1", "1-4:1/ring0", "2-4:1", "1-3:2"},
       false},
      {"acyclic amide narrow",
       "acyclic amide narrow",
       {"C[NB=4,ring=1]", "C[ring=0,NB=3]", "C[NB=4,ring=0]", "O[NB=1]", "N[ring=0,NH=1]"},
       {"0-1:1", "1-4:1/ring0", "2-4:1", "1-3:2"},
       false},
      {"acceptor", "a", {"het[NH=0]"}, {}, false},
      {"O or N acceptor", "O or N acceptor", {"O|N[NH=0]"}, {}, false},
      {"donor", "d", {"het[NH>0]"}, {}},
      {"O or N donor", "O or N donor", {"O|N[NH>0]"}, {}},
      {"x", "X", {"het"}, {}},
      {"O or N", "O or N", {"O|N"}, {}, false},
  };
  return table;
}

/// Hydrogens added under explicit_hydrogens: on which atom, how many, and how their bond is
/// drawn ('t' single unless any_bond_types, 'a' always untyped, 's' always single).
struct HydrogenRule {
  int heavy;
  int count;
  char rule;
};

const std::map<std::string, HydrogenRule> &hydrogen_rules() {
  static const std::map<std::string, HydrogenRule> rules = {
      {"OH1", {0, 1, 'a'}},
      {"NH2", {0, 2, 't'}},
      {"NH1", {0, 1, 't'}},
      {"NH1+", {0, 1, 'a'}},
      {"NH", {0, 1, 'a'}},
      {"NH3", {0, 3, 't'}},
      {"H2O", {0, 2, 'a'}},
      {"water", {0, 2, 'a'}},
      {"carbamoyl", {0, 2, 'a'}},
      {"amino", {0, 2, 'a'}},
      {"charged amino", {0, 3, 'a'}},
      {"amine", {0, 1, 'a'}},
      {"hydroxy", {0, 1, 's'}},
      {"carboxylic acid", {1, 1, 't'}},
      {"formyl", {1, 1, 't'}},
      {"acetyl", {3, 3, 't'}},
      {"C3NH+", {0, 1, 't'}},
      {"CONH", {2, 1, 't'}},
      {"trans-amide", {2, 1, 't'}},
      {"donor", {0, 1, 's'}},
      {"O or N donor", {0, 1, 's'}},
  };
  return rules;
}

THandle<MotifSubstructure> make(const std::string &key, Options o) {
  auto sub = PreDefinedSubstructures::make_sub(key, o);
  if (sub.is_null())
    ADD_FAILURE() << "no fragment for key '" << key << "'";
  return sub;
}

// ---------------------------------------------------------------------------------------------
// Lookup by key

TEST(PreDefinedSubstructuresLookup, EveryDispatchKeyGivesItsFragmentAndName) {
  for (const auto &f : fragments()) {
    SCOPED_TRACE(f.key);
    auto sub = make(f.key, plain());
    ASSERT_FALSE(sub.is_null());
    EXPECT_EQ(sub->name, f.name);
    EXPECT_EQ(atoms_text(*sub), f.atoms);
    EXPECT_EQ(bonds_text(*sub), f.bonds);
  }
}

TEST(PreDefinedSubstructuresLookup, UnknownOrMisspelledKeysGiveNullHandle) {
  // Names that are not keys, keys in the wrong case and keys with stray spaces.
  for (const char *key : {"trans_amide", "OH", "X", "a", "d", "", "coo-", "Water", "NH1 ",
                          "carboxylate", "nitro ", "o"}) {
    SCOPED_TRACE(key);
    EXPECT_TRUE(PreDefinedSubstructures::make_sub(key, plain()).is_null());
  }
}

TEST(PreDefinedSubstructuresLookup, AliasesGiveEqualFragments) {
  auto water = make("water", with_h());
  auto h2o = make("H2O", with_h());
  EXPECT_TRUE(*water == *h2o);
  EXPECT_EQ(water->min_target_size(), h2o->min_target_size());
  EXPECT_EQ(water->max_target_size(), h2o->max_target_size());
  EXPECT_TRUE(*make("NOO", plain()) == *make("nitro", plain()));
  EXPECT_EQ(make("NOO", plain())->name, "nitro");
}

TEST(PreDefinedSubstructuresLookup, EachCallReturnsANewFragment) {
  auto first = make("COO-", plain());
  auto second = make("COO-", plain());
  ASSERT_NE(first, second);
  ASSERT_NE(first->node(0), second->node(0));
  first->name = "changed";
  first->node(0)->add_element(Element(Element::Sulfur));
  EXPECT_EQ(second->name, "COO-");
  EXPECT_EQ(atoms_text(*second)[0], "O[NH=0,NB=1]");
}

TEST(PreDefinedSubstructuresLookup, LibraryListHasThe39KeysInOrder) {
  const Strings expected = {"N",
                            "NH1",
                            "NH1+",
                            "NH2",
                            "NH3",
                            "O",
                            "OH1",
                            "H2O",
                            "SOO",
                            "sulfonyl",
                            "ketone",
                            "ether",
                            "ester",
                            "carbamoyl",
                            "amino",
                            "charged amino",
                            "amine",
                            "cyano",
                            "imino",
                            "nitro",
                            "hydroxy",
                            "carboxylic acid",
                            "COO-",
                            "aromatic N",
                            "acetyl",
                            "formyl",
                            "F",
                            "Cl",
                            "Br",
                            "I",
                            "C3NH+",
                            "CONH",
                            "trans-amide",
                            "donor",
                            "O or N donor",
                            "acceptor",
                            "O or N acceptor",
                            "x",
                            "O or N"};
  ASSERT_EQ(expected.size(), 39u);
  EXPECT_EQ(PreDefinedSubstructures::substructure_names(), expected);
}

TEST(PreDefinedSubstructuresLookup, LibraryLeavesOutAliasesAndSpecialisedFragments) {
  const auto names = PreDefinedSubstructures::substructure_names();
  const std::set<std::string> keys(names.begin(), names.end());
  EXPECT_EQ(keys.size(), names.size()) << "a key is listed twice";
  for (const char *left_out :
       {"NH", "HNCNH", "acyclic amide", "acyclic amide narrow", "NOO", "water"})
    EXPECT_EQ(keys.count(left_out), 0u) << left_out;
  // Every listed key is a dispatch key.
  for (const auto &key : names)
    EXPECT_FALSE(PreDefinedSubstructures::make_sub(key, plain()).is_null()) << key;
}

TEST(PreDefinedSubstructuresLookup, AllSubstructuresGivesNamesNotKeys) {
  auto all = PreDefinedSubstructures::all_substructures(plain());
  ASSERT_EQ(all.size(), 39u);
  const Strings expected = {"N",
                            "NH1",
                            "NH1+",
                            "NH2",
                            "NH3",
                            "O",
                            "OH1",
                            "H2O",
                            "SOO",
                            "sulfonyl",
                            "ketone",
                            "ether",
                            "ester",
                            "carbamoyl",
                            "amino",
                            "charged amino",
                            "amine",
                            "cyano",
                            "imino",
                            "nitro",
                            "hydroxy",
                            "carboxylic acid",
                            "COO-",
                            "aromatic N",
                            "acetyl",
                            "formyl",
                            "F",
                            "Cl",
                            "Br",
                            "I",
                            "C3NH+",
                            "CONH",
                            "trans_amide",
                            "d",
                            "O or N donor",
                            "a",
                            "O or N acceptor",
                            "X",
                            "O or N"};
  EXPECT_EQ(substructure_names(all), expected);
  // All fragments are distinct objects.
  std::set<MotifSubstructure *> distinct;
  for (const auto &s : all)
    distinct.insert(s.get());
  EXPECT_EQ(distinct.size(), 39u);
}

TEST(PreDefinedSubstructuresLookup, AllSubstructuresFollowsTheOptions) {
  auto all = PreDefinedSubstructures::all_substructures(with_h_any_bonds());
  auto names = PreDefinedSubstructures::substructure_names();
  ASSERT_EQ(all.size(), names.size());
  for (std::size_t i = 0; i < all.size(); ++i)
    EXPECT_TRUE(*all[i] == *make(names[i], with_h_any_bonds())) << names[i];
}

TEST(PreDefinedSubstructuresLookup, FreeNamesFunctionKeepsOrderAndLength) {
  EXPECT_TRUE(substructure_names({}).empty());
  auto a = PreDefinedSubstructures::make_donor(plain());
  auto b = PreDefinedSubstructures::make_x(plain());
  EXPECT_EQ(substructure_names({b, a, b}), (Strings{"X", "d", "X"}));
}

TEST(PreDefinedSubstructuresLookup, Oh2HasNoKey) {
  auto oh2 = PreDefinedSubstructures::make_oh2(plain());
  EXPECT_EQ(oh2->name, "OH");
  EXPECT_EQ(atoms_text(*oh2), Strings{"O[NH=2]"});
  for (const auto &f : fragments())
    EXPECT_NE(f.name, "OH") << f.key;
}

// ---------------------------------------------------------------------------------------------
// Options

TEST(PreDefinedSubstructuresOptions, ExplicitHydrogensComeLastWithTheirBondRule) {
  for (const auto &f : fragments()) {
    for (bool any : {false, true}) {
      SCOPED_TRACE(f.key + (any ? " (any bond types)" : ""));
      auto sub = make(f.key, Options{true, false, any});
      ASSERT_FALSE(sub.is_null());
      const int heavy = static_cast<int>(f.atoms.size());
      auto atoms = atoms_text(*sub);
      auto it = hydrogen_rules().find(f.key);
      if (it == hydrogen_rules().end()) {
        EXPECT_EQ(sub->nnodes(), heavy);
        continue;
      }
      const HydrogenRule &r = it->second;
      ASSERT_EQ(sub->nnodes(), heavy + r.count);
      // Heavy atoms unchanged and in the same order; hydrogens bare H atoms after them.
      EXPECT_EQ(Strings(atoms.begin(), atoms.begin() + heavy), f.atoms);
      for (int h = heavy; h < heavy + r.count; ++h)
        EXPECT_EQ(atoms[h], "H");
      // Their bonds come after the heavy-atom bonds.
      auto bonds = bonds_text(*sub);
      ASSERT_EQ(bonds.size(), f.bonds.size() + r.count);
      std::string type = r.rule == 'a' ? "*" : r.rule == 's' ? "1" : any ? "*" : "1";
      for (int k = 0; k < r.count; ++k)
        EXPECT_EQ(bonds[f.bonds.size() + k],
                  std::to_string(r.heavy) + "-" + std::to_string(heavy + k) + ":" + type);
    }
  }
}

TEST(PreDefinedSubstructuresOptions, HydrogenCountConstraintStaysWithExplicitHydrogens) {
  auto nh2 = PreDefinedSubstructures::make_nh2(with_h());
  EXPECT_EQ(atoms_text(*nh2), (Strings{"N[NH=2]", "H", "H"}));
  EXPECT_EQ(bonds_text(*nh2), (Strings{"0-1:1", "0-2:1"}));
  auto nh2_any = PreDefinedSubstructures::make_nh2(with_h_any_bonds());
  EXPECT_EQ(nh2_any->nnodes(), 3);
  EXPECT_EQ(bonds_text(*nh2_any), (Strings{"0-1:*", "0-2:*"}));
}

TEST(PreDefinedSubstructuresOptions, AnyBondTypesUntypesEveryBondOfOptionBuilders) {
  for (const auto &f : fragments()) {
    SCOPED_TRACE(f.key);
    auto sub = make(f.key, any_bonds());
    ASSERT_FALSE(sub.is_null());
    EXPECT_EQ(atoms_text(*sub), f.atoms);
    Strings expected = f.bonds;
    if (f.takes_options) {
      // Keep the atoms and any ring requirement, drop the type.
      for (auto &b : expected) {
        auto colon = b.find(':');
        auto slash = b.find('/');
        b = b.substr(0, colon + 1) + "*" + (slash == std::string::npos ? "" : b.substr(slash));
      }
    }
    EXPECT_EQ(bonds_text(*sub), expected);
  }
}

TEST(PreDefinedSubstructuresOptions, OmitChargesDropsChargesExceptOnChargedNh1) {
  const std::map<std::string, Strings> uncharged = {
      {"NOO", {"N", "O[NB=1]", "O[NB=1]", "C"}},
      {"nitro", {"N", "O[NB=1]", "O[NB=1]", "C"}},
      {"COO-", {"O[NH=0,NB=1]", "O[NH=0,NB=1]", "C"}},
      {"C3NH+", {"N[NH=1]", "C", "C", "C"}},
      // A halide without its charge loses its "no bonds" requirement too: a bare atom.
      {"F", {"F"}},
      {"Cl", {"Cl"}},
      {"Br", {"Br"}},
      {"I", {"I"}},
  };
  for (const auto &f : fragments()) {
    SCOPED_TRACE(f.key);
    auto sub = make(f.key, no_charges());
    ASSERT_FALSE(sub.is_null());
    auto it = uncharged.find(f.key);
    // Everything else, NH1+ included, is drawn exactly as without the option.
    EXPECT_EQ(atoms_text(*sub), it == uncharged.end() ? f.atoms : it->second);
    EXPECT_EQ(bonds_text(*sub), f.bonds);
  }
  EXPECT_EQ(atoms_text(*make("NH1+", Options{true, true, true}))[0], "N[NH=1,Q=1]");
}

TEST(PreDefinedSubstructuresOptions, CarboxylateUnderEachOption) {
  auto plain_coo = PreDefinedSubstructures::make_carboxylate(plain());
  EXPECT_EQ(plain_coo->nnodes(), 3);
  EXPECT_EQ(plain_coo->nedges(), 2);
  // The double bond is to oxygen 0, the single bond (and the charge) to oxygen 1.
  EXPECT_EQ(bonds_text(*plain_coo), (Strings{"0-2:2", "1-2:1"}));
  EXPECT_TRUE(*PreDefinedSubstructures::make_carboxylate(with_h()) == *plain_coo);
  EXPECT_EQ(atoms_text(*PreDefinedSubstructures::make_carboxylate(no_charges()))[1],
            "O[NH=0,NB=1]");
  auto untyped = PreDefinedSubstructures::make_carboxylate(any_bonds());
  EXPECT_EQ(bonds_text(*untyped), (Strings{"0-2:*", "1-2:*"}));
  // The untyped form is drawn from the carbon outwards.
  EXPECT_EQ(untyped->edge(0).atom1, 2);
  EXPECT_EQ(untyped->edge(1).atom1, 2);
}

// ---------------------------------------------------------------------------------------------
// Individual details

TEST(PreDefinedSubstructuresDetails, ElementsUseTheKernelCodes) {
  auto ester = PreDefinedSubstructures::make_ester(plain());
  EXPECT_EQ(ester->node(0)->elements().at(0).code(), 1);
  EXPECT_EQ(ester->node(1)->elements().at(0).code(), 64);
  EXPECT_EQ(PreDefinedSubstructures::make_nh1(with_h())->node(1)->elements().at(0).code(), 2);
  EXPECT_EQ(PreDefinedSubstructures::make_n()->node(0)->elements().at(0).code(), 56);
  EXPECT_EQ(PreDefinedSubstructures::make_soo(plain())->node(0)->elements().at(0).code(), 81);
  EXPECT_EQ(PreDefinedSubstructures::make_fluorine_ion(plain())->node(0)->elements().at(0).code(),
            32);
  EXPECT_EQ(PreDefinedSubstructures::make_chlorine_ion(plain())->node(0)->elements().at(0).code(),
            21);
  EXPECT_EQ(PreDefinedSubstructures::make_bromine_ion(plain())->node(0)->elements().at(0).code(),
            16);
  EXPECT_EQ(PreDefinedSubstructures::make_iodine_ion(plain())->node(0)->elements().at(0).code(),
            43);
}

TEST(PreDefinedSubstructuresDetails, GenericAtomsAllowTheRightElements) {
  auto acceptor = PreDefinedSubstructures::make_acceptor()->node(0);
  EXPECT_FALSE(acceptor->allows(Element(Element::Carbon)));
  EXPECT_FALSE(acceptor->allows(Element(Element::Hydrogen)));
  for (const char *s : {"O", "N", "S", "F", "Cl", "Ag"})
    EXPECT_TRUE(acceptor->allows(Element(s))) << s;
  auto on = PreDefinedSubstructures::make_on_donor(plain())->node(0);
  EXPECT_TRUE(on->allows(Element("O")));
  EXPECT_TRUE(on->allows(Element("N")));
  EXPECT_FALSE(on->allows(Element("S")));
  ASSERT_EQ(on->elements().size(), 2u);
  EXPECT_EQ(on->elements()[0].code(), Element::Oxygen);
}

TEST(PreDefinedSubstructuresDetails, TargetSizesAndExtraLimit) {
  auto h2o = PreDefinedSubstructures::make_h2o(plain());
  EXPECT_EQ(h2o->min_target_size(), 1);
  EXPECT_EQ(h2o->max_target_size(), 3);
  auto oh1 = PreDefinedSubstructures::make_oh1(plain());
  EXPECT_EQ(oh1->extra_limit(), 1);
  EXPECT_EQ(oh1->min_target_size(), 0);
  EXPECT_EQ(oh1->max_target_size(), 100000);
  // Every other fragment keeps the defaults.
  for (const auto &f : fragments()) {
    if (f.key == "OH1")
      continue;
    auto sub = make(f.key, with_h());
    EXPECT_EQ(sub->extra_limit(), 100) << f.key;
    if (f.key != "H2O" && f.key != "water") {
      EXPECT_EQ(sub->min_target_size(), 0) << f.key;
      EXPECT_EQ(sub->max_target_size(), 100000) << f.key;
    }
  }
}

TEST(PreDefinedSubstructuresDetails, OutArgumentsNameTheContactAtoms) {
  int first = -1;
  int second = -1;
  auto carbamoyl = PreDefinedSubstructures::make_carbamoyl(first, second, plain());
  EXPECT_EQ(first, 0);
  EXPECT_EQ(second, 1);
  EXPECT_EQ(carbamoyl->node(first)->elements().at(0).code(), Element::Nitrogen);
  EXPECT_EQ(carbamoyl->node(second)->elements().at(0).code(), Element::Carbon);
  EXPECT_TRUE(*carbamoyl == *PreDefinedSubstructures::make_carbamoyl(plain()));

  first = second = -1;
  auto acid = PreDefinedSubstructures::make_carboxylic_acid(first, second, with_h());
  EXPECT_EQ(first, 0);
  EXPECT_EQ(second, 1);
  EXPECT_EQ(acid->node(first)->elements().at(0).code(), Element::Oxygen);
  EXPECT_EQ(acid->node(second)->elements().at(0).code(), Element::Oxygen);
  EXPECT_TRUE(*acid == *PreDefinedSubstructures::make_carboxylic_acid(with_h()));
}

TEST(PreDefinedSubstructuresDetails, ConditionsAreFreshPerAtom) {
  // Two atoms with the same requirement must not share one condition object, so that a caller
  // who changes one fragment does not change another.
  auto coo = PreDefinedSubstructures::make_carboxylate(plain());
  auto *a = dynamic_cast<const AtomNHydrogensConstraint *>(coo->node(0)->constraints()[0].get());
  auto *b = dynamic_cast<const AtomNHydrogensConstraint *>(coo->node(1)->constraints()[0].get());
  ASSERT_NE(a, nullptr);
  ASSERT_NE(b, nullptr);
  EXPECT_NE(a->condition().get(), b->condition().get());
}

// ---------------------------------------------------------------------------------------------
// What the fragments find in molecules drawn by hand

/// A molecule from element symbols, charges and bonds (atom a, atom b, type).
struct Bonding {
  int a;
  int b;
  BondType type;
};

Molecule molecule(const std::vector<std::pair<const char *, int>> &atoms,
                  const std::vector<Bonding> &bonds) {
  Molecule m;
  for (const auto &[symbol, charge] : atoms)
    m.add_atom(make_handle<Atom>(Element(symbol), symbol, charge));
  for (const auto &b : bonds)
    m.add_bond(b.a, b.b, b.type);
  return m;
}

const BondType S = BondType::Single;
const BondType D = BondType::Double;

// Acetic acid: C0 (methyl) C1 (carboxyl) O2 (=O) O3 (-OH), H4 on O3, H5-H7 on C0.
Molecule acetic_acid() {
  return molecule({{"C", 0}, {"C", 0}, {"O", 0}, {"O", 0}, {"H", 0}, {"H", 0}, {"H", 0}, {"H", 0}},
                  {{0, 1, S}, {1, 2, D}, {1, 3, S}, {3, 4, S}, {0, 5, S}, {0, 6, S}, {0, 7, S}});
}

// Acetate: as acetic acid without the acid H, the single-bonded O carrying -1.
Molecule acetate() {
  return molecule({{"C", 0}, {"C", 0}, {"O", 0}, {"O", -1}, {"H", 0}, {"H", 0}, {"H", 0}},
                  {{0, 1, S}, {1, 2, D}, {1, 3, S}, {0, 4, S}, {0, 5, S}, {0, 6, S}});
}

// Methylamine: N0, C1, H2 H3 on N, H4-H6 on C.
Molecule methylamine() {
  return molecule({{"N", 0}, {"C", 0}, {"H", 0}, {"H", 0}, {"H", 0}, {"H", 0}, {"H", 0}},
                  {{0, 1, S}, {0, 2, S}, {0, 3, S}, {1, 4, S}, {1, 5, S}, {1, 6, S}});
}

Molecule water() { return molecule({{"O", 0}, {"H", 0}, {"H", 0}}, {{0, 1, S}, {0, 2, S}}); }

std::size_t hits(const THandle<MotifSubstructure> &sub, const Molecule &m) {
  return SubstructureSearch().search(*sub, m).size();
}

TEST(PreDefinedSubstructuresMatching, AcidAndCarboxylateAreTold) {
  auto acid = PreDefinedSubstructures::make_carboxylic_acid(plain());
  auto coo = PreDefinedSubstructures::make_carboxylate(plain());
  EXPECT_EQ(hits(acid, acetic_acid()), 1u);
  EXPECT_EQ(hits(coo, acetic_acid()), 0u);
  EXPECT_EQ(hits(coo, acetate()), 1u);
  EXPECT_EQ(hits(acid, acetate()), 0u);
  // The one acid hit puts the carbonyl O on query atom 0 and the hydroxyl O on query atom 1.
  auto hit = SubstructureSearch().search(*acid, acetic_acid()).at(0);
  EXPECT_EQ(hit, (std::vector<int>{2, 3, 1, 0}));
  // Without the charge requirement the carboxylate still fits acetate; untyped bonds do not let
  // it fit the acid, whose hydroxyl oxygen carries a hydrogen.
  EXPECT_EQ(hits(PreDefinedSubstructures::make_carboxylate(no_charges()), acetate()), 1u);
  EXPECT_EQ(hits(PreDefinedSubstructures::make_carboxylate(any_bonds()), acetic_acid()), 0u);
}

TEST(PreDefinedSubstructuresMatching, ExplicitHydrogensMatchEachMapping) {
  // Two equivalent hydrogens on the amine N: one hit per way of mapping the query hydrogens.
  EXPECT_EQ(hits(PreDefinedSubstructures::make_nh2(plain()), methylamine()), 1u);
  EXPECT_EQ(hits(PreDefinedSubstructures::make_nh2(with_h()), methylamine()), 2u);
  EXPECT_EQ(hits(PreDefinedSubstructures::make_amino(with_h()), methylamine()), 2u);
  EXPECT_EQ(hits(PreDefinedSubstructures::make_carboxylic_acid(with_h()), acetic_acid()), 1u);
}

TEST(PreDefinedSubstructuresMatching, DonorsAcceptorsAndWater) {
  EXPECT_EQ(hits(PreDefinedSubstructures::make_donor(plain()), acetic_acid()), 1u);
  EXPECT_EQ(hits(PreDefinedSubstructures::make_acceptor(), acetic_acid()), 1u);
  EXPECT_EQ(hits(PreDefinedSubstructures::make_hydroxy(plain()), acetic_acid()), 1u);
  EXPECT_EQ(hits(PreDefinedSubstructures::make_acceptor(), acetate()), 2u);
  EXPECT_EQ(hits(PreDefinedSubstructures::make_donor(plain()), acetate()), 0u);
  EXPECT_EQ(hits(PreDefinedSubstructures::make_h2o(plain()), water()), 1u);
  EXPECT_EQ(hits(PreDefinedSubstructures::make_h2o(plain()), acetic_acid()), 0u);
  EXPECT_EQ(hits(PreDefinedSubstructures::make_x(plain()), methylamine()), 1u);
  EXPECT_EQ(hits(PreDefinedSubstructures::make_on_acceptor(), methylamine()), 0u);
}

TEST(PreDefinedSubstructuresMatching, HalideNeedsChargeAndNoBondsUnlessChargesOmitted) {
  Molecule chloride = molecule({{"Cl", -1}}, {});
  Molecule chloromethane = molecule({{"C", 0}, {"Cl", 0}, {"H", 0}, {"H", 0}, {"H", 0}},
                                    {{0, 1, S}, {0, 2, S}, {0, 3, S}, {0, 4, S}});
  EXPECT_EQ(hits(PreDefinedSubstructures::make_chlorine_ion(plain()), chloride), 1u);
  EXPECT_EQ(hits(PreDefinedSubstructures::make_chlorine_ion(plain()), chloromethane), 0u);
  EXPECT_EQ(hits(PreDefinedSubstructures::make_chlorine_ion(no_charges()), chloromethane), 1u);
}

} // namespace
} // namespace xtalmotif
