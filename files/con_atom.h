#ifndef XTALMOTIF_FILES_CON_ATOM_H
#define XTALMOTIF_FILES_CON_ATOM_H

#include "chem/condition.h"
#include "core/handle.h"
#include "chem/substructure.h"

#include <string>
#include <utility>
#include <vector>

namespace xtalmotif {

/// One atom record of a connectivity query file: a query atom with its element and optional
/// hydrogen-count and connection-count requirements, as in
/// "AT1 C 3 T3 0 0 0" (atom 1, carbon, three connections).
///
/// Word layout (from 0), after the last three words of the line, which the query does not use,
/// are dropped: 0 "AT" and the atom number; 1 the element symbol ("BB" or "4M" for any element);
/// 2 an integer kept as `column3_value`; 3 "C"/"A" (cyclicity), a word containing "T" (connection
/// count such as "T3") or else the hydrogen count ("1", or a range "0,2"); 4 "C"/"A" or a
/// connection count; 5 "C"/"A". Other words are ignored.
class ConAtom {
public:
  /// An atom of unknown element "X", number -1, in no residue.
  ConAtom() = default;
  /// The atom of one atom record, given as the words of its line.
  explicit ConAtom(std::vector<std::string> words);

  /// The atom's number in the file (the digits after "AT").
  int number() const { return number_; }
  /// The element symbol as written ("X" when absent).
  const std::string& element_text() const { return element_; }
  /// The element symbol, or "" for the any-element codes "BB" and "4M".
  std::string element() const;
  /// The hydrogen-count text: "n" or "a,b" ("" when absent).
  const std::string& hcount_text() const { return hcount_text_; }
  /// The formal-charge text, same forms as the hydrogen count. The file layout has no column for
  /// it, so records read from a file never carry one.
  const std::string& charge_text() const { return charge_text_; }
  void set_charge_text(std::string text) { charge_text_ = std::move(text); }
  /// The integer of word 2; kept with the record, not used by the query.
  int column3_value() const { return column3_value_; }
  /// The connection-count text, "T" and one digit.
  const std::string& nbonds_text() const { return nbonds_text_; }
  /// The residue (substructure) the atom belongs to, -1 until residues are assigned.
  int residue() const { return residue_; }
  void set_residue(int residue) { residue_ = residue; }
  /// "C" or "A" when given; kept with the record, no constraint is made from it.
  const std::string& cyclicity_text() const { return cyclicity_text_; }

  /// Number of bonded neighbours required, from "T" and a single digit: equal to that digit.
  /// Null when there is no such text (including longer texts such as "T12").
  THandle<Condition> nbonds_condition() const;
  /// Hydrogens required: a range for "a,b", an exact count for a single number, null when
  /// absent.
  THandle<Condition> hcount_condition() const;
  /// Formal charge required, read like the hydrogen count; null when absent.
  THandle<Condition> charge_condition() const;

  /// The query atom: its element (any element for "BB"/"4M") with its hydrogen-count (implicit
  /// hydrogens included), charge and connection-count constraints.
  THandle<SubstructureAtom> substructure_atom() const;

private:
  int number_ = -1;
  std::string element_ = "X";
  std::string hcount_text_;
  std::string charge_text_;
  int column3_value_ = -1;
  std::string nbonds_text_;
  int residue_ = -1;
  std::string cyclicity_text_;
};

} // namespace xtalmotif

#endif
