#include "chem/condition.h"

#include <ostream>
#include <typeinfo>

namespace xtalmotif {

void Condition::print(std::ostream& os, PrintOption) const { os << name_; }

THandle<Condition> EqualTo::clone() const { return THandle<Condition>(new EqualTo(*this)); }
THandle<Condition> InclusiveRange::clone() const {
  return THandle<Condition>(new InclusiveRange(*this));
}
THandle<Condition> Greater::clone() const { return THandle<Condition>(new Greater(*this)); }

void EqualTo::print(std::ostream& os, PrintOption option) const {
  if (option == print_full)
    os << name() << ' ' << value_;
  else if (option == print_value_only)
    os << value_;
}

void InclusiveRange::print(std::ostream& os, PrintOption option) const {
  if (option == print_full)
    os << name() << ' ' << low_ << " to " << high_;
  else if (option == print_value_only)
    os << low_ << '-' << high_;
}

void Greater::print(std::ostream& os, PrintOption option) const {
  if (option == print_full)
    os << name() << ' ' << threshold_;
  else if (option == print_value_only)
    os << '>' << threshold_;
}

bool operator==(const Condition& a, const Condition& b) {
  if (typeid(a) != typeid(b) || a.name() != b.name())
    return false;
  if (auto* e = dynamic_cast<const EqualTo*>(&a))
    return e->value() == static_cast<const EqualTo&>(b).value();
  if (auto* r = dynamic_cast<const InclusiveRange*>(&a)) {
    auto& s = static_cast<const InclusiveRange&>(b);
    return r->low() == s.low() && r->high() == s.high();
  }
  if (auto* g = dynamic_cast<const Greater*>(&a))
    return g->threshold() == static_cast<const Greater&>(b).threshold();
  return true; // same kind of some other condition with the same name
}

} // namespace xtalmotif
