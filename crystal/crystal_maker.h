#ifndef XTALMOTIF_CRYSTAL_CRYSTAL_MAKER_H
#define XTALMOTIF_CRYSTAL_CRYSTAL_MAKER_H

#include "core/geometry.h"
#include "core/handle.h"
#include "chem/molecule.h"

#include <iosfwd>
#include <string>
#include <vector>

namespace xtalmotif {

/// A space-group symmetry operator in fractional coordinates: x' = R x + t, with an integer
/// rotation R and a fractional translation t.
class CrystalSymmetryOperator {
public:
  /// The identity x, y, z.
  CrystalSymmetryOperator();
  CrystalSymmetryOperator(const Matrix<int, 3, 3>& rotation, const Point& translation);
  /// Parses an operator written as in CIF symmetry loops: "-x+1/2, y+0.5, -z", "x-y,x,z+1/6".
  /// Throws std::invalid_argument naming the text when it cannot be read.
  static CrystalSymmetryOperator from_xyz(const std::string& text);

  const Matrix<int, 3, 3>& rotation() const { return rotation_; }
  const Point& translation() const { return translation_; }
  Point apply(const Point& fractional) const;
  bool is_identity() const;
  /// Canonical "x,y,z"-style text, translations as fractions.
  std::string to_xyz() const;
  bool operator==(const CrystalSymmetryOperator& o) const;

private:
  Matrix<int, 3, 3> rotation_;
  Point translation_;
};

/// Where an atom of a built molecule comes from: the asymmetric-unit site it copies, and the
/// symmetry operator (an index into the crystal's operator list) and lattice translation that
/// carry that site onto the atom, so that fractional = operator(site) + translation.
struct AtomOrigin {
  /// The site's row in the file's atom-site loop, counted from 0.
  int site = -1;
  int op = 0;
  Translation translation;
  /// The fraction of unit cells in which the site holds this atom: 1 for an ordered atom,
  /// also on a special position written with its crystallographic occupancy (1/2 on an
  /// inversion centre); below 1 for an atom of a disordered or partly occupied site.
  double occupancy = 1.0;
};

/// One crystal structure as the search sees it: the cell, the symmetry operators (identity first)
/// and the complete symmetry-independent molecules, every atom carrying fractional and orthogonal
/// coordinates on its site.
class CrystalMaker {
public:
  /// An empty structure: no molecules, the identity operator only, a 1 angstrom cubic cell.
  CrystalMaker();
  virtual ~CrystalMaker() = default;

  // ---- cell ----
  void set_cell(double a, double b, double c, double alpha, double beta, double gamma);
  double a() const { return cell_[0]; }
  double b() const { return cell_[1]; }
  double c() const { return cell_[2]; }
  double alpha() const { return cell_[3]; }
  double beta() const { return cell_[4]; }
  double gamma() const { return cell_[5]; }
  double volume() const;
  /// Fractional to orthogonal (angstrom), a along x and b in the xy plane.
  const Matrix<double, 3, 3>& orthogonal_matrix() const { return orth_; }
  const Matrix<double, 3, 3>& fractional_matrix() const { return frac_; }
  Point to_orthogonal(const Point& f) const { return orth_ * f; }
  Point to_fractional(const Point& o) const { return frac_ * o; }
  /// How far an operator's rotation changes the cell's metric tensor G (the largest entry of
  /// R^T G R - G, relative to the largest diagonal entry of G): 0 when the operator is a
  /// symmetry of this lattice, of order 1 when it belongs to another cell.
  double metric_change(const CrystalSymmetryOperator& op) const;
  /// The metric change beyond which an operator is taken to belong to another cell.
  static constexpr double kMetricTolerance = 0.02;

  // ---- symmetry ----
  /// The operators; the identity is always first.
  const std::vector<CrystalSymmetryOperator>& symmetry_operators() const { return operators_; }
  /// Replaces the operators; the identity is moved (or added) to the front, repeats dropped.
  /// Translations are reduced into [0, 1), so operators that differ by a lattice vector count
  /// as repeats. The list as given is kept as the listed operators.
  void set_symmetry_operators(const std::vector<CrystalSymmetryOperator>& ops);
  /// The operators as the file lists them (or as the list that replaced the file's was given),
  /// translations as written: the list that symmetry codes number. A list without the
  /// identity has it put first.
  const std::vector<CrystalSymmetryOperator>& listed_operators() const { return listed_; }
  /// Operator `op` of symmetry_operators() followed by lattice translation `t`, as an operator
  /// of the listed operators and the lattice translation that goes with it: the parts of the
  /// symmetry code "n_klm" (n = listed + 1, k, l, m = 5 + translation).
  struct ListedCode {
    int listed = 0;
    Translation translation;
  };
  ListedCode listed_code(int op, const Translation& t) const;
  /// Where the operators come from: the operator loop's tag, or the symbol or number they were
  /// generated from ("Hall symbol 'R 3'").
  const std::string& symmetry_source() const { return symmetry_source_; }
  /// Why the file's own operator list was not used; empty when it was, or when it gave none.
  const std::string& symmetry_replaced() const { return symmetry_replaced_; }
  void set_symmetry_source(std::string source, std::string replaced) {
    symmetry_source_ = std::move(source);
    symmetry_replaced_ = std::move(replaced);
  }
  const std::string& space_group_name() const { return space_group_; }
  void set_space_group_name(std::string s) { space_group_ = std::move(s); }

  // ---- molecules ----
  int nmolecules() const { return static_cast<int>(molecules_.size()); }
  /// Molecule `i`; std::out_of_range "IndexedTable::at Illegal index: i" when out of range.
  THandle<Molecule> molecule(int i) const;
  void add_molecule(const THandle<Molecule>& m) {
    molecules_.push_back(m);
    origins_.emplace_back();
  }
  /// Adds a molecule together with the origin of each of its atoms (parallel to its atoms).
  void add_molecule(const THandle<Molecule>& m, std::vector<AtomOrigin> origins);
  /// The symmetry origin of each atom of molecule `i`; empty when the molecule was added
  /// without one. Same range check as molecule().
  const std::vector<AtomOrigin>& atom_origins(int i) const;
  /// Keeps only the atoms that have 3D sites (molecules left empty are dropped). Every molecule
  /// the CIF reader builds is already fully 3D, so on those this changes nothing.
  void select_3d();
  /// Deletes a bond of one of the molecules and splits that molecule, in place, into its
  /// connected pieces: the first piece (the one holding atom 0) keeps the molecule's index and
  /// the others are appended. False when no molecule holds the bond.
  bool remove(const THandle<Bond>& bond);

  // ---- what the reader learned about the entry ----
  /// A chain that would grow without end (a coordination polymer) was cut.
  bool is_polymeric() const { return polymeric_; }
  void set_polymeric(bool p) { polymeric_ = p; }
  bool has_disorder() const { return disorder_; }
  void set_disorder(bool d) { disorder_ = d; }
  /// Problems met while building the structure (no H sites, clashing atoms, unresolved valence).
  const std::vector<std::string>& errors() const { return errors_; }
  void add_error(std::string e) { errors_.push_back(std::move(e)); }
  /// Notes that do not make the structure doubtful (symmetry taken from the Hall symbol...).
  const std::vector<std::string>& warnings() const { return warnings_; }
  void add_warning(std::string w) { warnings_.push_back(std::move(w)); }
  /// What a reader of any result from this structure must know to check it against the file
  /// (its operator list replaced, labels told apart): also kept among the warnings.
  const std::vector<std::string>& notices() const { return notices_; }
  void add_notice(std::string n) {
    warnings_.push_back(n);
    notices_.push_back(std::move(n));
  }
  /// Conventional R factor (R1) as a fraction; negative when the file does not give one.
  double r_factor() const { return r_factor_; }
  void set_r_factor(double r) { r_factor_ = r; }
  /// True when hydrogen positions were present in the file.
  bool has_hydrogen_sites() const { return has_h_sites_; }
  void set_has_hydrogen_sites(bool h) { has_h_sites_ = h; }

  void print(std::ostream& os) const;

private:
  // Makes operators_, listed_ and listed_of_ from the operators as given.
  void make_operator_tables(const std::vector<CrystalSymmetryOperator>& ops);

  std::array<double, 6> cell_{{1, 1, 1, 90, 90, 90}};
  Matrix<double, 3, 3> orth_ = Matrix<double, 3, 3>::identity();
  Matrix<double, 3, 3> frac_ = Matrix<double, 3, 3>::identity();
  std::vector<CrystalSymmetryOperator> operators_;
  std::vector<CrystalSymmetryOperator> listed_;
  // Per operator: its place in listed_, and the lattice vector between the two translations
  // (operator = listed + offset).
  std::vector<ListedCode> listed_of_;
  std::string symmetry_source_, symmetry_replaced_;
  std::string space_group_;
  std::vector<THandle<Molecule>> molecules_;
  std::vector<std::vector<AtomOrigin>> origins_;
  bool polymeric_ = false;
  bool disorder_ = false;
  bool has_h_sites_ = false;
  double r_factor_ = -1.0;
  std::vector<std::string> errors_;
  std::vector<std::string> warnings_;
  std::vector<std::string> notices_;
};

} // namespace xtalmotif

#endif
