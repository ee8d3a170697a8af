#include "library/pre_defined_substructures.h"

#include "chem/condition.h"
#include "chem/element.h"
#include "chem/molecule.h"
#include "chem/substructure.h"

#include <utility>

namespace xtalmotif {

namespace {

using Options = PreDefinedSubstructures::GenerationOptions;
using SubHandle = THandle<MotifSubstructure>;

THandle<Condition> equal_to(double value) {
  return THandle<Condition>(make_handle<EqualTo>("equal to", value));
}

THandle<Condition> greater_than(double value) {
  return THandle<Condition>(make_handle<Greater>("greater than", value));
}

THandle<SubstructureAtom> atom_of(Element::VelkCode code) {
  return make_handle<SubstructureAtom>(Element(code));
}

/// An oxygen-or-nitrogen query atom.
THandle<SubstructureAtom> o_or_n_atom() {
  auto atom = atom_of(Element::Oxygen);
  atom->add_element(Element(Element::Nitrogen));
  return atom;
}

/// A heteroatom query atom: any element but carbon and hydrogen.
THandle<SubstructureAtom> hetero_atom() {
  auto atom = make_handle<SubstructureAtom>();
  atom->remove_element(Element(Element::Carbon));
  atom->remove_element(Element(Element::Hydrogen));
  return atom;
}

void add_nh(SubstructureAtom &atom, THandle<Condition> condition) {
  // Hydrogens may be implied rather than present as sites, so they are always counted.
  atom.add_constraint(
      THandle<AtomConstraint>(make_handle<AtomNHydrogensConstraint>(std::move(condition), true)));
}

void add_nb(SubstructureAtom &atom, double nbonds) {
  atom.add_constraint(THandle<AtomConstraint>(make_handle<AtomNBondsConstraint>(equal_to(nbonds))));
}

void add_charge(SubstructureAtom &atom, double charge) {
  atom.add_constraint(
      THandle<AtomConstraint>(make_handle<AtomFormalChargeConstraint>(equal_to(charge))));
}

void add_ring(SubstructureAtom &atom, int in_ring) {
  atom.add_constraint(THandle<AtomConstraint>(make_handle<AtomCyclicityConstraint>(in_ring)));
}

void nh_equal(MotifSubstructure &sub, int atom, double n) { add_nh(*sub.node(atom), equal_to(n)); }
void nh_some(MotifSubstructure &sub, int atom) { add_nh(*sub.node(atom), greater_than(0.0)); }
void nb_equal(MotifSubstructure &sub, int atom, double n) { add_nb(*sub.node(atom), n); }
void charge_equal(MotifSubstructure &sub, int atom, double q) { add_charge(*sub.node(atom), q); }
void in_ring(MotifSubstructure &sub, int atom, int ring) { add_ring(*sub.node(atom), ring); }

/// A bond of the given chemical type, or an untyped bond when the options ask for any type.
THandle<SubstructureBond> bond_of(BondType type, const Options &options) {
  return options.any_bond_types ? make_handle<SubstructureBond>()
                                : make_handle<SubstructureBond>(type);
}

THandle<SubstructureBond> untyped_bond() { return make_handle<SubstructureBond>(); }

int add_bond(MotifSubstructure &sub, BondType type, const Options &options, int a, int b) {
  return sub.add(bond_of(type, options), a, b);
}

/// How the bond from an explicit hydrogen to its heavy atom is drawn. The builders differ here
/// and each keeps its own rule.
enum class HydrogenBond {
  Typed, // single, unless the options ask for untyped bonds
  Any,   // always untyped
  Single // always single
};

/// Adds `count` explicit hydrogens on `heavy` when the options ask for them. They come after all
/// heavy atoms, so the heavy-atom numbering is the same with and without them.
void add_hydrogens(MotifSubstructure &sub, int heavy, int count, HydrogenBond rule,
                   const Options &options) {
  if (!options.explicit_hydrogens)
    return;
  for (int i = 0; i < count; ++i) {
    int h = sub.add(atom_of(Element::Hydrogen));
    THandle<SubstructureBond> bond;
    switch (rule) {
    case HydrogenBond::Typed:
      bond = bond_of(BondType::Single, options);
      break;
    case HydrogenBond::Any:
      bond = untyped_bond();
      break;
    case HydrogenBond::Single:
      bond = make_handle<SubstructureBond>(BondType::Single);
      break;
    }
    sub.add(bond, heavy, h);
  }
}

SubHandle new_sub() { return make_handle<MotifSubstructure>(); }

/// A single heavy atom with an exact hydrogen count and its hydrogens.
SubHandle single_atom_with_h(Element::VelkCode code, double nh, HydrogenBond rule,
                             const Options &options, const char *name) {
  SubHandle sub = new_sub();
  sub->add(atom_of(code));
  nh_equal(*sub, 0, nh);
  add_hydrogens(*sub, 0, static_cast<int>(nh), rule, options);
  sub->name = name;
  return sub;
}

/// A halide ion. The charge and the "no bonds" requirement together define the free ion, so
/// omitting charges drops both and leaves any atom of the element.
SubHandle halide(Element::VelkCode code, const Options &options, const char *name) {
  SubHandle sub = new_sub();
  auto atom = atom_of(code);
  if (!options.omit_charges) {
    add_charge(*atom, -1.0);
    add_nb(*atom, 0.0);
  }
  sub->add(atom);
  sub->name = name;
  return sub;
}

/// The two secondary-amide fragments O=C-N(H), differing only in the ring requirement on the
/// C-N bond.
SubHandle amide_fragment(int cn_in_ring, const Options &options, const char *name) {
  SubHandle sub = new_sub();
  sub->add(atom_of(Element::Oxygen));
  nb_equal(*sub, 0, 1.0);
  sub->add(atom_of(Element::Carbon));
  sub->add(atom_of(Element::Nitrogen));
  nh_equal(*sub, 2, 1.0);
  add_bond(*sub, BondType::Double, options, 1, 0);
  // Amide C-N bonds are perceived anywhere between single and aromatic, so their type is never
  // required; only their ring membership is.
  auto cn = untyped_bond();
  cn->add_constraint(BondCyclicityConstraint(cn_in_ring));
  sub->add(cn, 1, 2);
  add_hydrogens(*sub, 2, 1, HydrogenBond::Typed, options);
  sub->name = name;
  return sub;
}

/// The shared skeleton of the two acyclic-amide fragments: C0-C1(=O3)-N4-C2, always typed.
void add_acyclic_amide_bonds(MotifSubstructure &sub) {
  sub.add(make_handle<SubstructureBond>(BondType::Single), 0, 1);
  auto cn = make_handle<SubstructureBond>(BondType::Single);
  cn->add_constraint(BondCyclicityConstraint(0));
  sub.add(cn, 1, 4);
  sub.add(make_handle<SubstructureBond>(BondType::Single), 4, 2);
  sub.add(make_handle<SubstructureBond>(BondType::Double), 1, 3);
}

using Builder = SubHandle (*)(Options);

struct DispatchEntry {
  const char *key;
  Builder build;
};

// The keys of make_sub in lookup order; the first matching key wins. Builders that take no
// options are wrapped so that every entry has one shape.
const DispatchEntry dispatch_table[] = {
    {"OH1", &PreDefinedSubstructures::make_oh1},
    {"O", [](Options) { return PreDefinedSubstructures::make_o(); }},
    {"NH2", &PreDefinedSubstructures::make_nh2},
    {"NH1", &PreDefinedSubstructures::make_nh1},
    {"NH1+", &PreDefinedSubstructures::make_charged_nh1},
    {"NH", &PreDefinedSubstructures::make_nh},
    {"NH3", &PreDefinedSubstructures::make_nh3},
    {"N", [](Options) { return PreDefinedSubstructures::make_n(); }},
    {"NOO", &PreDefinedSubstructures::make_nitro},
    {"nitro", &PreDefinedSubstructures::make_nitro},
    {"SOO", &PreDefinedSubstructures::make_soo},
    {"sulfonyl", &PreDefinedSubstructures::make_sulfonyl},
    {"H2O", &PreDefinedSubstructures::make_h2o},
    {"water", &PreDefinedSubstructures::make_h2o},
    {"HNCNH", [](Options) { return PreDefinedSubstructures::make_hncnh(); }},
    {"ketone", &PreDefinedSubstructures::make_ketone},
    {"ether", &PreDefinedSubstructures::make_ether},
    {"ester", &PreDefinedSubstructures::make_ester},
    {"carbamoyl", [](Options o) { return PreDefinedSubstructures::make_carbamoyl(o); }},
    {"amino", &PreDefinedSubstructures::make_amino},
    {"charged amino", &PreDefinedSubstructures::make_charged_amino},
    {"amine", &PreDefinedSubstructures::make_amine},
    {"cyano", &PreDefinedSubstructures::make_cyano},
    {"imino", &PreDefinedSubstructures::make_imino},
    {"F", &PreDefinedSubstructures::make_fluorine_ion},
    {"Cl", &PreDefinedSubstructures::make_chlorine_ion},
    {"Br", &PreDefinedSubstructures::make_bromine_ion},
    {"I", &PreDefinedSubstructures::make_iodine_ion},
    {"hydroxy", &PreDefinedSubstructures::make_hydroxy},
    {"carboxylic acid", [](Options o) { return PreDefinedSubstructures::make_carboxylic_acid(o); }},
    {"COO-", &PreDefinedSubstructures::make_carboxylate},
    {"aromatic N", &PreDefinedSubstructures::make_aromatic_n},
    {"formyl", &PreDefinedSubstructures::make_formyl},
    {"acetyl", &PreDefinedSubstructures::make_acetyl},
    {"C3NH+", &PreDefinedSubstructures::make_tertiary_ammonium},
    {"CONH", &PreDefinedSubstructures::make_conh},
    {"trans-amide", &PreDefinedSubstructures::make_trans_amide},
    {"acyclic amide", [](Options) { return PreDefinedSubstructures::make_acyclic_amide(); }},
    {"acyclic amide narrow",
     [](Options) { return PreDefinedSubstructures::make_acyclic_amide_narrow(); }},
    {"acceptor", [](Options) { return PreDefinedSubstructures::make_acceptor(); }},
    {"O or N acceptor", [](Options) { return PreDefinedSubstructures::make_on_acceptor(); }},
    {"donor", &PreDefinedSubstructures::make_donor},
    {"O or N donor", &PreDefinedSubstructures::make_on_donor},
    {"x", &PreDefinedSubstructures::make_x},
    {"O or N", [](Options) { return PreDefinedSubstructures::make_o_or_n(); }},
};

} // namespace

// ---------------------------------------------------------------------------------------------
// Lookup

THandle<MotifSubstructure> PreDefinedSubstructures::make_sub(std::string name,
                                                             GenerationOptions options) {
  for (const auto &entry : dispatch_table)
    if (name == entry.key)
      return entry.build(options);
  return SubHandle();
}

std::vector<std::string> PreDefinedSubstructures::substructure_names() {
  // "NH", "HNCNH" and the two acyclic amides are reachable through make_sub only, and the
  // aliases "NOO" and "water" are left out so that every fragment appears once.
  return {"N",
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
}

std::vector<THandle<MotifSubstructure>>
PreDefinedSubstructures::all_substructures(GenerationOptions options) {
  std::vector<THandle<MotifSubstructure>> result;
  for (const auto &key : substructure_names())
    result.push_back(make_sub(key, options));
  return result;
}

std::vector<std::string> substructure_names(const std::vector<THandle<MotifSubstructure>> &subs) {
  std::vector<std::string> names;
  names.reserve(subs.size());
  for (const auto &sub : subs)
    names.push_back(sub->name);
  return names;
}

// ---------------------------------------------------------------------------------------------
// Single atoms

THandle<MotifSubstructure> PreDefinedSubstructures::make_oh1(GenerationOptions options) {
  SubHandle sub = single_atom_with_h(Element::Oxygen, 1.0, HydrogenBond::Any, options, "OH1");
  // The only fragment that lowers the extra limit kept with a motif fragment.
  sub->set_extra_limit(1);
  return sub;
}

THandle<MotifSubstructure> PreDefinedSubstructures::make_oh2(GenerationOptions options) {
  return single_atom_with_h(Element::Oxygen, 2.0, HydrogenBond::Any, options, "OH");
}

THandle<MotifSubstructure> PreDefinedSubstructures::make_o() {
  return single_atom_with_h(Element::Oxygen, 0.0, HydrogenBond::Any, Options{}, "O");
}

THandle<MotifSubstructure> PreDefinedSubstructures::make_nh2(GenerationOptions options) {
  return single_atom_with_h(Element::Nitrogen, 2.0, HydrogenBond::Typed, options, "NH2");
}

THandle<MotifSubstructure> PreDefinedSubstructures::make_nh3(GenerationOptions options) {
  return single_atom_with_h(Element::Nitrogen, 3.0, HydrogenBond::Typed, options, "NH3");
}

THandle<MotifSubstructure> PreDefinedSubstructures::make_nh1(GenerationOptions options) {
  return single_atom_with_h(Element::Nitrogen, 1.0, HydrogenBond::Typed, options, "NH1");
}

THandle<MotifSubstructure> PreDefinedSubstructures::make_nh(GenerationOptions options) {
  SubHandle sub = new_sub();
  sub->add(atom_of(Element::Nitrogen));
  nh_some(*sub, 0);
  add_hydrogens(*sub, 0, 1, HydrogenBond::Any, options);
  sub->name = "NH";
  return sub;
}

THandle<MotifSubstructure> PreDefinedSubstructures::make_charged_nh1(GenerationOptions options) {
  SubHandle sub = new_sub();
  sub->add(atom_of(Element::Nitrogen));
  nh_equal(*sub, 0, 1.0);
  // Deliberately kept even with omit_charges: without its charge this fragment would be the
  // plain NH1 nitrogen, so the charge is what it is asked for.
  charge_equal(*sub, 0, 1.0);
  add_hydrogens(*sub, 0, 1, HydrogenBond::Any, options);
  sub->name = "NH1+";
  return sub;
}

THandle<MotifSubstructure> PreDefinedSubstructures::make_n() {
  return single_atom_with_h(Element::Nitrogen, 0.0, HydrogenBond::Any, Options{}, "N");
}

THandle<MotifSubstructure> PreDefinedSubstructures::make_aromatic_n(GenerationOptions options) {
  SubHandle sub = new_sub();
  auto n = atom_of(Element::Nitrogen);
  add_nh(*n, equal_to(0.0));
  add_nb(*n, 2.0);
  add_ring(*n, 1);
  sub->add(n);
  // The two ring neighbours may be any element (C, N, O, S in heteroaromatic rings).
  sub->add(make_handle<SubstructureAtom>());
  sub->add(make_handle<SubstructureAtom>());
  add_bond(*sub, BondType::Aromatic, options, 0, 1);
  add_bond(*sub, BondType::Aromatic, options, 0, 2);
  sub->name = "aromatic N";
  return sub;
}

// ---------------------------------------------------------------------------------------------
// Generic donors and acceptors

THandle<MotifSubstructure> PreDefinedSubstructures::make_acceptor() {
  SubHandle sub = new_sub();
  sub->add(hetero_atom());
  nh_equal(*sub, 0, 0.0);
  sub->name = "a"; // one-letter name, deliberately short for printed queries
  return sub;
}

THandle<MotifSubstructure> PreDefinedSubstructures::make_on_acceptor() {
  SubHandle sub = new_sub();
  sub->add(o_or_n_atom());
  nh_equal(*sub, 0, 0.0);
  sub->name = "O or N acceptor";
  return sub;
}

THandle<MotifSubstructure> PreDefinedSubstructures::make_donor(GenerationOptions options) {
  SubHandle sub = new_sub();
  sub->add(hetero_atom());
  nh_some(*sub, 0);
  add_hydrogens(*sub, 0, 1, HydrogenBond::Single, options);
  sub->name = "d"; // one-letter name, deliberately short for printed queries
  return sub;
}

THandle<MotifSubstructure> PreDefinedSubstructures::make_on_donor(GenerationOptions options) {
  SubHandle sub = new_sub();
  sub->add(o_or_n_atom());
  nh_some(*sub, 0);
  add_hydrogens(*sub, 0, 1, HydrogenBond::Single, options);
  sub->name = "O or N donor";
  return sub;
}

THandle<MotifSubstructure> PreDefinedSubstructures::make_x(GenerationOptions) {
  SubHandle sub = new_sub();
  sub->add(hetero_atom());
  sub->name = "X"; // upper case, although its key is "x"
  return sub;
}

THandle<MotifSubstructure> PreDefinedSubstructures::make_o_or_n() {
  SubHandle sub = new_sub();
  sub->add(o_or_n_atom());
  sub->name = "O or N";
  return sub;
}

// ---------------------------------------------------------------------------------------------
// Functional groups

THandle<MotifSubstructure> PreDefinedSubstructures::make_nitro(GenerationOptions options) {
  SubHandle sub = new_sub();
  sub->add(atom_of(Element::Nitrogen));
  sub->add(atom_of(Element::Oxygen));
  sub->add(atom_of(Element::Oxygen));
  sub->add(atom_of(Element::Carbon));
  nb_equal(*sub, 1, 1.0);
  nb_equal(*sub, 2, 1.0);
  add_bond(*sub, BondType::Single, options, 0, 1);
  add_bond(*sub, BondType::Double, options, 0, 2);
  add_bond(*sub, BondType::Single, options, 0, 3);
  if (!options.omit_charges) {
    // The zwitterionic drawing: N+ with one N=O and one N-O-.
    charge_equal(*sub, 1, -1.0);
    charge_equal(*sub, 0, 1.0);
  }
  sub->name = "nitro";
  return sub;
}

THandle<MotifSubstructure> PreDefinedSubstructures::make_soo(GenerationOptions options) {
  SubHandle sub = new_sub();
  sub->add(atom_of(Element::Sulfur));
  sub->add(atom_of(Element::Oxygen));
  sub->add(atom_of(Element::Oxygen));
  add_bond(*sub, BondType::Double, options, 0, 1);
  add_bond(*sub, BondType::Double, options, 0, 2);
  sub->name = "SOO";
  return sub;
}

THandle<MotifSubstructure> PreDefinedSubstructures::make_sulfonyl(GenerationOptions options) {
  SubHandle sub = new_sub();
  sub->add(atom_of(Element::Sulfur));
  nb_equal(*sub, 0, 4.0);
  sub->add(atom_of(Element::Oxygen));
  nb_equal(*sub, 1, 1.0);
  sub->add(atom_of(Element::Oxygen));
  nb_equal(*sub, 2, 1.0);
  sub->add(atom_of(Element::Carbon));
  sub->add(atom_of(Element::Carbon));
  add_bond(*sub, BondType::Double, options, 0, 1);
  add_bond(*sub, BondType::Double, options, 0, 2);
  add_bond(*sub, BondType::Single, options, 0, 3);
  add_bond(*sub, BondType::Single, options, 0, 4);
  sub->name = "sulfonyl";
  return sub;
}

THandle<MotifSubstructure> PreDefinedSubstructures::make_h2o(GenerationOptions options) {
  SubHandle sub = new_sub();
  sub->add(atom_of(Element::Oxygen));
  nh_equal(*sub, 0, 2.0);
  add_hydrogens(*sub, 0, 2, HydrogenBond::Any, options);
  // A free water molecule: the oxygen alone (H not located) up to O and both hydrogens, so
  // that aqua ligands and hydroxyl groups of larger molecules are not taken for water.
  sub->set_target_size(1, 3);
  sub->name = "H2O";
  return sub;
}

THandle<MotifSubstructure> PreDefinedSubstructures::make_hncnh() {
  SubHandle sub = new_sub();
  sub->add(atom_of(Element::Nitrogen));
  nh_some(*sub, 0);
  sub->add(atom_of(Element::Carbon));
  sub->add(atom_of(Element::Nitrogen));
  nh_some(*sub, 2);
  // Amidine, guanidine and urea C-N bonds range from single to double and aromatic.
  sub->add(untyped_bond(), 0, 1);
  sub->add(untyped_bond(), 1, 2);
  sub->name = "HNCNH";
  return sub;
}

THandle<MotifSubstructure> PreDefinedSubstructures::make_carbamoyl(GenerationOptions options) {
  int first = -1;
  int second = -1;
  return make_carbamoyl(first, second, options);
}

THandle<MotifSubstructure> PreDefinedSubstructures::make_carbamoyl(int &first, int &second,
                                                                   GenerationOptions options) {
  SubHandle sub = new_sub();
  first = sub->add(atom_of(Element::Nitrogen));
  nh_equal(*sub, first, 2.0);
  second = sub->add(atom_of(Element::Carbon));
  int o = sub->add(atom_of(Element::Oxygen));
  add_bond(*sub, BondType::Single, options, first, second);
  add_bond(*sub, BondType::Double, options, second, o);
  add_hydrogens(*sub, first, 2, HydrogenBond::Any, options);
  sub->name = "carbamoyl";
  return sub;
}

THandle<MotifSubstructure> PreDefinedSubstructures::make_amino(GenerationOptions options) {
  SubHandle sub = new_sub();
  sub->add(atom_of(Element::Nitrogen));
  nh_equal(*sub, 0, 2.0);
  sub->add(atom_of(Element::Carbon));
  add_bond(*sub, BondType::Single, options, 0, 1);
  add_hydrogens(*sub, 0, 2, HydrogenBond::Any, options);
  sub->name = "amino";
  return sub;
}

THandle<MotifSubstructure> PreDefinedSubstructures::make_charged_amino(GenerationOptions options) {
  SubHandle sub = new_sub();
  sub->add(atom_of(Element::Nitrogen));
  nh_equal(*sub, 0, 3.0);
  sub->add(atom_of(Element::Carbon));
  add_bond(*sub, BondType::Single, options, 0, 1);
  add_hydrogens(*sub, 0, 3, HydrogenBond::Any, options);
  // Three hydrogens on an N bonded to carbon already make it ammonium; no charge is required.
  sub->name = "charged amino";
  return sub;
}

THandle<MotifSubstructure> PreDefinedSubstructures::make_amine(GenerationOptions options) {
  SubHandle sub = new_sub();
  sub->add(atom_of(Element::Nitrogen));
  nh_equal(*sub, 0, 1.0);
  sub->add(atom_of(Element::Carbon));
  sub->add(atom_of(Element::Carbon));
  add_bond(*sub, BondType::Single, options, 0, 1);
  add_bond(*sub, BondType::Single, options, 0, 2);
  add_hydrogens(*sub, 0, 1, HydrogenBond::Any, options);
  sub->name = "amine";
  return sub;
}

THandle<MotifSubstructure> PreDefinedSubstructures::make_cyano(GenerationOptions options) {
  SubHandle sub = new_sub();
  sub->add(atom_of(Element::Carbon));
  sub->add(atom_of(Element::Carbon));
  nb_equal(*sub, 1, 2.0);
  sub->add(atom_of(Element::Nitrogen));
  nh_equal(*sub, 2, 0.0);
  nb_equal(*sub, 2, 1.0);
  add_bond(*sub, BondType::Single, options, 0, 1);
  add_bond(*sub, BondType::Triple, options, 1, 2);
  sub->name = "cyano";
  return sub;
}

THandle<MotifSubstructure> PreDefinedSubstructures::make_ketone(GenerationOptions options) {
  SubHandle sub = new_sub();
  sub->add(atom_of(Element::Oxygen));
  nb_equal(*sub, 0, 1.0);
  sub->add(atom_of(Element::Carbon));
  sub->add(atom_of(Element::Carbon));
  sub->add(atom_of(Element::Carbon));
  add_bond(*sub, BondType::Double, options, 0, 1);
  // The carbon substituents may be alkyl or aryl: their bonds are never typed.
  sub->add(untyped_bond(), 1, 2);
  sub->add(untyped_bond(), 1, 3);
  sub->name = "ketone";
  return sub;
}

THandle<MotifSubstructure> PreDefinedSubstructures::make_ether(GenerationOptions options) {
  SubHandle sub = new_sub();
  sub->add(atom_of(Element::Oxygen));
  nh_equal(*sub, 0, 0.0);
  sub->add(atom_of(Element::Carbon));
  sub->add(atom_of(Element::Carbon));
  add_bond(*sub, BondType::Single, options, 0, 1);
  add_bond(*sub, BondType::Single, options, 0, 2);
  sub->name = "ether";
  return sub;
}

THandle<MotifSubstructure> PreDefinedSubstructures::make_ester(GenerationOptions options) {
  SubHandle sub = new_sub();
  sub->add(atom_of(Element::Carbon));
  sub->add(atom_of(Element::Oxygen));
  nh_equal(*sub, 1, 0.0);
  nb_equal(*sub, 1, 2.0);
  sub->add(atom_of(Element::Carbon));
  sub->add(atom_of(Element::Oxygen));
  nh_equal(*sub, 3, 0.0);
  nb_equal(*sub, 3, 1.0);
  sub->add(atom_of(Element::Carbon));
  add_bond(*sub, BondType::Single, options, 0, 1);
  add_bond(*sub, BondType::Single, options, 1, 2);
  add_bond(*sub, BondType::Double, options, 2, 3);
  add_bond(*sub, BondType::Single, options, 2, 4);
  sub->name = "ester";
  return sub;
}

THandle<MotifSubstructure> PreDefinedSubstructures::make_fluorine_ion(GenerationOptions options) {
  return halide(Element::Fluorine, options, "F");
}

THandle<MotifSubstructure> PreDefinedSubstructures::make_chlorine_ion(GenerationOptions options) {
  return halide(Element::Chlorine, options, "Cl");
}

THandle<MotifSubstructure> PreDefinedSubstructures::make_bromine_ion(GenerationOptions options) {
  return halide(Element::Bromine, options, "Br");
}

THandle<MotifSubstructure> PreDefinedSubstructures::make_iodine_ion(GenerationOptions options) {
  return halide(Element::Iodine, options, "I");
}

THandle<MotifSubstructure>
PreDefinedSubstructures::make_tertiary_ammonium(GenerationOptions options) {
  SubHandle sub = new_sub();
  sub->add(atom_of(Element::Nitrogen));
  nh_equal(*sub, 0, 1.0);
  sub->add(atom_of(Element::Carbon));
  sub->add(atom_of(Element::Carbon));
  sub->add(atom_of(Element::Carbon));
  if (!options.omit_charges)
    charge_equal(*sub, 0, 1.0);
  add_bond(*sub, BondType::Single, options, 0, 1);
  add_bond(*sub, BondType::Single, options, 0, 2);
  add_bond(*sub, BondType::Single, options, 0, 3);
  add_hydrogens(*sub, 0, 1, HydrogenBond::Typed, options);
  sub->name = "C3NH+";
  return sub;
}

THandle<MotifSubstructure> PreDefinedSubstructures::make_imino(GenerationOptions options) {
  SubHandle sub = new_sub();
  sub->add(atom_of(Element::Nitrogen));
  nh_equal(*sub, 0, 1.0);
  sub->add(atom_of(Element::Carbon));
  add_bond(*sub, BondType::Double, options, 0, 1);
  sub->name = "imino";
  return sub;
}

THandle<MotifSubstructure> PreDefinedSubstructures::make_hydroxy(GenerationOptions options) {
  SubHandle sub = new_sub();
  sub->add(atom_of(Element::Oxygen));
  nh_equal(*sub, 0, 1.0);
  sub->add(atom_of(Element::Carbon));
  add_bond(*sub, BondType::Single, options, 0, 1);
  add_hydrogens(*sub, 0, 1, HydrogenBond::Single, options);
  sub->name = "hydroxy";
  return sub;
}

THandle<MotifSubstructure>
PreDefinedSubstructures::make_carboxylic_acid(GenerationOptions options) {
  int first = -1;
  int second = -1;
  return make_carboxylic_acid(first, second, options);
}

THandle<MotifSubstructure>
PreDefinedSubstructures::make_carboxylic_acid(int &first, int &second, GenerationOptions options) {
  SubHandle sub = new_sub();
  // Oxygens are numbered as in the carboxylate: the carbonyl oxygen first, then the oxygen of
  // the single bond, which carries the acid hydrogen (the carboxylate's charge).
  first = sub->add(atom_of(Element::Oxygen));
  second = sub->add(atom_of(Element::Oxygen));
  nh_equal(*sub, second, 1.0);
  nb_equal(*sub, second, 2.0);
  nb_equal(*sub, first, 1.0);
  int carboxyl = sub->add(atom_of(Element::Carbon));
  int alpha = sub->add(atom_of(Element::Carbon));
  add_bond(*sub, BondType::Double, options, carboxyl, first);
  add_bond(*sub, BondType::Single, options, carboxyl, second);
  add_bond(*sub, BondType::Single, options, carboxyl, alpha);
  add_hydrogens(*sub, second, 1, HydrogenBond::Typed, options);
  sub->name = "carboxylic acid";
  return sub;
}

THandle<MotifSubstructure> PreDefinedSubstructures::make_carboxylate(GenerationOptions options) {
  SubHandle sub = new_sub();
  sub->add(atom_of(Element::Oxygen));
  sub->add(atom_of(Element::Oxygen));
  nh_equal(*sub, 0, 0.0);
  nb_equal(*sub, 0, 1.0);
  nh_equal(*sub, 1, 0.0);
  nb_equal(*sub, 1, 1.0);
  sub->add(atom_of(Element::Carbon));
  if (options.any_bond_types) {
    sub->add(untyped_bond(), 2, 0);
    sub->add(untyped_bond(), 2, 1);
  } else {
    sub->add(make_handle<SubstructureBond>(BondType::Double), 0, 2);
    sub->add(make_handle<SubstructureBond>(BondType::Single), 1, 2);
  }
  // The localised drawing puts the negative charge on the singly bonded oxygen.
  if (!options.omit_charges)
    charge_equal(*sub, 1, -1.0);
  sub->name = "COO-";
  return sub;
}

THandle<MotifSubstructure> PreDefinedSubstructures::make_acetyl(GenerationOptions options) {
  SubHandle sub = new_sub();
  sub->add(atom_of(Element::Oxygen));
  nh_equal(*sub, 0, 0.0);
  sub->add(atom_of(Element::Carbon));
  sub->add(atom_of(Element::Carbon));
  sub->add(atom_of(Element::Carbon));
  nh_equal(*sub, 3, 3.0);
  add_bond(*sub, BondType::Single, options, 1, 2);
  add_bond(*sub, BondType::Double, options, 1, 0);
  add_bond(*sub, BondType::Single, options, 1, 3);
  add_hydrogens(*sub, 3, 3, HydrogenBond::Typed, options);
  sub->name = "acetyl";
  return sub;
}

THandle<MotifSubstructure> PreDefinedSubstructures::make_formyl(GenerationOptions options) {
  SubHandle sub = new_sub();
  sub->add(atom_of(Element::Oxygen));
  nh_equal(*sub, 0, 0.0);
  sub->add(atom_of(Element::Carbon));
  sub->add(atom_of(Element::Carbon));
  nh_equal(*sub, 1, 1.0);
  add_bond(*sub, BondType::Double, options, 1, 0);
  add_bond(*sub, BondType::Single, options, 1, 2);
  add_hydrogens(*sub, 1, 1, HydrogenBond::Typed, options);
  sub->name = "formyl";
  return sub;
}

THandle<MotifSubstructure> PreDefinedSubstructures::make_conh(GenerationOptions options) {
  return amide_fragment(1, options, "CONH");
}

THandle<MotifSubstructure> PreDefinedSubstructures::make_trans_amide(GenerationOptions options) {
  // The key is "trans-amide" but the name keeps the underscore; both spellings are relied on.
  return amide_fragment(0, options, "trans_amide");
}

THandle<MotifSubstructure> PreDefinedSubstructures::make_acyclic_amide() {
  SubHandle sub = new_sub();
  sub->name = "acyclic amide";
  sub->add(atom_of(Element::Carbon));
  sub->add(atom_of(Element::Carbon));
  in_ring(*sub, 1, 0);
  nb_equal(*sub, 1, 3.0);
  sub->add(atom_of(Element::Carbon));
  sub->add(atom_of(Element::Oxygen));
  nb_equal(*sub, 3, 1.0);
  sub->add(atom_of(Element::Nitrogen));
  in_ring(*sub, 4, 0);
  nh_equal(*sub, 4, 1.0);
  add_acyclic_amide_bonds(*sub);
  return sub;
}

THandle<MotifSubstructure> PreDefinedSubstructures::make_acyclic_amide_narrow() {
  SubHandle sub = new_sub();
  sub->name = "acyclic amide narrow";
  sub->add(atom_of(Element::Carbon));
  nb_equal(*sub, 0, 4.0);
  // The acyl-side sp3 carbon is required to be in a ring although the amide itself is acyclic;
  // this is intended (amides hanging off saturated rings).
  in_ring(*sub, 0, 1);
  sub->add(atom_of(Element::Carbon));
  in_ring(*sub, 1, 0);
  nb_equal(*sub, 1, 3.0);
  sub->add(atom_of(Element::Carbon));
  nb_equal(*sub, 2, 4.0);
  in_ring(*sub, 2, 0);
  sub->add(atom_of(Element::Oxygen));
  nb_equal(*sub, 3, 1.0);
  sub->add(atom_of(Element::Nitrogen));
  in_ring(*sub, 4, 0);
  nh_equal(*sub, 4, 1.0);
  add_acyclic_amide_bonds(*sub);
  return sub;
}

} // namespace xtalmotif
