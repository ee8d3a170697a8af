#ifndef XTALMOTIF_CHEM_ELEMENT_H
#define XTALMOTIF_CHEM_ELEMENT_H

#include <array>
#include <iosfwd>
#include <string>

namespace xtalmotif {

/// One row of the element table: symbol, atomic number and the two radii used for contacts and
/// for bonding.
struct ElementData {
  const char* symbol;
  int atomic_number;
  double vdw_radius;      ///< Bondi (1964); H and D 1.09 (Rowland & Taylor 1996); 2.00 when unknown
  double covalent_radius; ///< Cordero et al. (2008); 1.50 where no value is tabulated
};

/// A chemical element, named by its code in the element table.
///
/// Codes: 0 is the unknown element "X", 1 is C, 2 is H, 3 to 104 are every other element from H
/// to Lr plus deuterium "D" in ASCII order of their symbols, and 105 to 107 are reserved
/// placeholders. Query element sets range over all 108 codes.
class Element {
public:
  using VelkCode = int;
  static constexpr int ncodes = 108;

  static constexpr VelkCode Unknown = 0;
  static constexpr VelkCode Carbon = 1;
  static constexpr VelkCode Hydrogen = 2;
  static constexpr VelkCode Silver = 4;
  static constexpr VelkCode Bromine = 16;
  static constexpr VelkCode Chlorine = 21;
  static constexpr VelkCode Deuterium = 27;
  static constexpr VelkCode Fluorine = 32;
  static constexpr VelkCode Iodine = 43;
  static constexpr VelkCode Nitrogen = 56;
  static constexpr VelkCode Oxygen = 64;
  static constexpr VelkCode Sulfur = 81;

  /// The element table, indexed by code.
  static const std::array<ElementData, ncodes> table_;
  /// Atomic numbers by code (D is 1; X and the placeholders are 0).
  static const std::array<int, ncodes> atomic_numbers_;
  /// Van der Waals radii in angstrom by code.
  static const std::array<double, ncodes> vdw_radii_;
  /// Covalent radii in angstrom by code.
  static const std::array<double, ncodes> covalent_radii_;

  /// The unknown element X.
  Element() = default;
  /// The element of a table code; a code outside 0..107 is the unknown element.
  explicit Element(VelkCode code);
  /// The element of a symbol, matched without regard to case ("CL", "cl" and "Cl" are chlorine);
  /// an unrecognised symbol is the unknown element.
  explicit Element(const std::string& symbol);
  explicit Element(const char* symbol) : Element(std::string(symbol)) {}

  /// The code of a symbol, or -1 when the symbol is not in the table (case-insensitive).
  static VelkCode code_of(const std::string& symbol);
  /// The code of the element of atomic number z (1 gives H, not D), or 0.
  static VelkCode code_of_atomic_number(int z);

  VelkCode code() const { return code_; }
  std::string symbol() const { return table_[code_].symbol; }
  int atomic_number() const { return table_[code_].atomic_number; }
  double vdw_radius() const { return table_[code_].vdw_radius; }
  double covalent_radius() const { return table_[code_].covalent_radius; }

  bool is_hydrogen() const { return code_ == Hydrogen || code_ == Deuterium; }
  bool is_carbon() const { return code_ == Carbon; }
  bool is_halogen() const { return kinds_[code_] & kHalogen; }
  /// Metals in the sense used for bonding and screening: alkali, alkaline-earth, transition,
  /// lanthanide, actinide and the heavier main-group metals (Al, Ga, In, Tl, Ge, Sn, Pb, Sb, Bi, Po).
  bool is_metal() const { return kinds_[code_] & kMetal; }
  /// Groups 3 to 12 with the lanthanides and actinides.
  bool is_transition_metal() const { return kinds_[code_] & kTransitionMetal; }

  void print(std::ostream& os) const;

  friend bool operator==(const Element& a, const Element& b) { return a.code_ == b.code_; }
  friend bool operator!=(const Element& a, const Element& b) { return a.code_ != b.code_; }
  friend bool operator<(const Element& a, const Element& b) { return a.code_ < b.code_; }

private:
  // The kinds of element the predicates above ask about, one bit each, looked up by code.
  enum Kind : unsigned char { kHalogen = 1, kMetal = 2, kTransitionMetal = 4 };
  static const std::array<unsigned char, ncodes> kinds_;

  VelkCode code_ = Unknown;
};

} // namespace xtalmotif

#endif
