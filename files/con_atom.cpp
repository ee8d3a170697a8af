#include "files/con_atom.h"

#include "files/lenient_number.h"
#include "chem/element.h"

#include <utility>

namespace xtalmotif {

using MotifSearchLibFunctions::lenient_int;

namespace {

bool is_cyclicity_word(const std::string& w) { return w == "C" || w == "A"; }

// "a,b" is a range from a to b, both included; a lone number an exact count.
THandle<Condition> count_condition(const std::string& text) {
  if (text.empty())
    return THandle<Condition>();
  std::size_t comma = text.find(',');
  if (comma != std::string::npos) {
    int low = lenient_int(text.substr(0, comma));
    int high = lenient_int(text.substr(comma + 1));
    return make_handle<InclusiveRange>("in range", low, high);
  }
  return make_handle<EqualTo>("equal to", lenient_int(text));
}

} // namespace

ConAtom::ConAtom(std::vector<std::string> words) {
  // The last three words carry data the query does not use; they go before anything is read,
  // so a short record may lose its element or even its number (which then keep their defaults).
  words.resize(words.size() > 3 ? words.size() - 3 : 0);

  if (!words.empty()) {
    std::string digits = words[0];
    std::size_t at = digits.find("AT");
    if (at != std::string::npos)
      digits.erase(at, 2);
    number_ = lenient_int(digits);
  }
  if (words.size() > 1)
    element_ = words[1];
  if (words.size() > 2)
    column3_value_ = lenient_int(words[2]);
  // The hydrogen count can stand only in word 3, the connection count in word 3 or 4.
  if (words.size() > 3) {
    const std::string& w = words[3];
    if (is_cyclicity_word(w))
      cyclicity_text_ = w;
    else if (w.find('T') != std::string::npos)
      nbonds_text_ = w;
    else
      hcount_text_ = w;
  }
  if (words.size() > 4) {
    const std::string& w = words[4];
    if (is_cyclicity_word(w))
      cyclicity_text_ = w;
    else if (w.find('T') != std::string::npos)
      nbonds_text_ = w;
  }
  if (words.size() > 5 && is_cyclicity_word(words[5]))
    cyclicity_text_ = words[5];
}

std::string ConAtom::element() const {
  if (element_ == "BB" || element_ == "4M")
    return "";
  return element_;
}

THandle<Condition> ConAtom::nbonds_condition() const {
  // Only "T" and one digit: a connection count of ten or more cannot be written.
  if (nbonds_text_.size() == 2 && nbonds_text_[0] == 'T')
    return make_handle<EqualTo>("equal to", lenient_int(nbonds_text_.substr(1)));
  return THandle<Condition>();
}

THandle<Condition> ConAtom::hcount_condition() const { return count_condition(hcount_text_); }

THandle<Condition> ConAtom::charge_condition() const { return count_condition(charge_text_); }

THandle<SubstructureAtom> ConAtom::substructure_atom() const {
  std::string symbol = element();
  auto atom = symbol.empty() ? make_handle<SubstructureAtom>()
                             : make_handle<SubstructureAtom>(Element(symbol));
  if (auto h = hcount_condition())
    atom->add_constraint(make_handle<AtomNHydrogensConstraint>(h, true));
  if (auto q = charge_condition())
    atom->add_constraint(make_handle<AtomFormalChargeConstraint>(q));
  if (auto n = nbonds_condition())
    atom->add_constraint(make_handle<AtomNBondsConstraint>(n));
  atom->set_label("AT" + std::to_string(number_));
  return atom;
}

} // namespace xtalmotif
