#include "chem/element.h"

#include <cctype>
#include <ostream>

namespace xtalmotif {

namespace {
// Codes 3..104 run over the symbols in ASCII order, so the table is laid out by code. It is a
// constant expression, so that the columns and kinds below are filled at compile time, before
// any other file's static objects could ask for them.
constexpr std::array<ElementData, Element::ncodes> kTable = {{
    {"X", 0, 2.00, 0.00}, // 0
    {"C", 6, 1.70, 0.76}, // 1
    {"H", 1, 1.09, 0.31}, // 2
    {"Ac", 89, 2.00, 2.15}, // 3
    {"Ag", 47, 1.72, 1.45}, // 4
    {"Al", 13, 2.00, 1.21}, // 5
    {"Am", 95, 2.00, 1.80}, // 6
    {"Ar", 18, 1.88, 1.06}, // 7
    {"As", 33, 1.85, 1.19}, // 8
    {"At", 85, 2.00, 1.50}, // 9
    {"Au", 79, 1.66, 1.36}, // 10
    {"B", 5, 2.00, 0.84}, // 11
    {"Ba", 56, 2.00, 2.15}, // 12
    {"Be", 4, 2.00, 0.96}, // 13
    {"Bi", 83, 2.00, 1.48}, // 14
    {"Bk", 97, 2.00, 1.50}, // 15
    {"Br", 35, 1.85, 1.20}, // 16
    {"Ca", 20, 2.00, 1.76}, // 17
    {"Cd", 48, 1.58, 1.44}, // 18
    {"Ce", 58, 2.00, 2.04}, // 19
    {"Cf", 98, 2.00, 1.50}, // 20
    {"Cl", 17, 1.75, 1.02}, // 21
    {"Cm", 96, 2.00, 1.69}, // 22
    {"Co", 27, 2.00, 1.26}, // 23
    {"Cr", 24, 2.00, 1.39}, // 24
    {"Cs", 55, 2.00, 2.44}, // 25
    {"Cu", 29, 1.40, 1.32}, // 26
    {"D", 1, 1.09, 0.31}, // 27
    {"Dy", 66, 2.00, 1.92}, // 28
    {"Er", 68, 2.00, 1.89}, // 29
    {"Es", 99, 2.00, 1.50}, // 30
    {"Eu", 63, 2.00, 1.98}, // 31
    {"F", 9, 1.47, 0.57}, // 32
    {"Fe", 26, 2.00, 1.32}, // 33
    {"Fm", 100, 2.00, 1.50}, // 34
    {"Fr", 87, 2.00, 2.60}, // 35
    {"Ga", 31, 1.87, 1.22}, // 36
    {"Gd", 64, 2.00, 1.96}, // 37
    {"Ge", 32, 2.00, 1.20}, // 38
    {"He", 2, 1.40, 0.28}, // 39
    {"Hf", 72, 2.00, 1.75}, // 40
    {"Hg", 80, 1.55, 1.32}, // 41
    {"Ho", 67, 2.00, 1.92}, // 42
    {"I", 53, 1.98, 1.39}, // 43
    {"In", 49, 1.93, 1.42}, // 44
    {"Ir", 77, 2.00, 1.41}, // 45
    {"K", 19, 2.75, 2.03}, // 46
    {"Kr", 36, 2.02, 1.16}, // 47
    {"La", 57, 2.00, 2.07}, // 48
    {"Li", 3, 1.82, 1.28}, // 49
    {"Lr", 103, 2.00, 1.50}, // 50
    {"Lu", 71, 2.00, 1.87}, // 51
    {"Md", 101, 2.00, 1.50}, // 52
    {"Mg", 12, 1.73, 1.41}, // 53
    {"Mn", 25, 2.00, 1.39}, // 54
    {"Mo", 42, 2.00, 1.54}, // 55
    {"N", 7, 1.55, 0.71}, // 56
    {"Na", 11, 2.27, 1.66}, // 57
    {"Nb", 41, 2.00, 1.64}, // 58
    {"Nd", 60, 2.00, 2.01}, // 59
    {"Ne", 10, 1.54, 0.58}, // 60
    {"Ni", 28, 1.63, 1.24}, // 61
    {"No", 102, 2.00, 1.50}, // 62
    {"Np", 93, 2.00, 1.90}, // 63
    {"O", 8, 1.52, 0.66}, // 64
    {"Os", 76, 2.00, 1.44}, // 65
    {"P", 15, 1.80, 1.07}, // 66
    {"Pa", 91, 2.00, 2.00}, // 67
    {"Pb", 82, 2.02, 1.46}, // 68
    {"Pd", 46, 1.63, 1.39}, // 69
    {"Pm", 61, 2.00, 1.99}, // 70
    {"Po", 84, 2.00, 1.40}, // 71
    {"Pr", 59, 2.00, 2.03}, // 72
    {"Pt", 78, 1.72, 1.36}, // 73
    {"Pu", 94, 2.00, 1.87}, // 74
    {"Ra", 88, 2.00, 2.21}, // 75
    {"Rb", 37, 2.00, 2.20}, // 76
    {"Re", 75, 2.00, 1.51}, // 77
    {"Rh", 45, 2.00, 1.42}, // 78
    {"Rn", 86, 2.00, 1.50}, // 79
    {"Ru", 44, 2.00, 1.46}, // 80
    {"S", 16, 1.80, 1.05}, // 81
    {"Sb", 51, 2.00, 1.39}, // 82
    {"Sc", 21, 2.00, 1.70}, // 83
    {"Se", 34, 1.90, 1.20}, // 84
    {"Si", 14, 2.10, 1.11}, // 85
    {"Sm", 62, 2.00, 1.98}, // 86
    {"Sn", 50, 2.17, 1.39}, // 87
    {"Sr", 38, 2.00, 1.95}, // 88
    {"Ta", 73, 2.00, 1.70}, // 89
    {"Tb", 65, 2.00, 1.94}, // 90
    {"Tc", 43, 2.00, 1.47}, // 91
    {"Te", 52, 2.06, 1.38}, // 92
    {"Th", 90, 2.00, 2.06}, // 93
    {"Ti", 22, 2.00, 1.60}, // 94
    {"Tl", 81, 1.96, 1.45}, // 95
    {"Tm", 69, 2.00, 1.90}, // 96
    {"U", 92, 1.86, 1.96}, // 97
    {"V", 23, 2.00, 1.53}, // 98
    {"W", 74, 2.00, 1.62}, // 99
    {"Xe", 54, 2.16, 1.40}, // 100
    {"Y", 39, 2.00, 1.90}, // 101
    {"Yb", 70, 2.00, 1.87}, // 102
    {"Zn", 30, 1.39, 1.22}, // 103
    {"Zr", 40, 2.00, 1.75}, // 104
    {"", 0, 2.00, 0.00}, // 105 reserved
    {"", 0, 2.00, 0.00}, // 106 reserved
    {"", 0, 2.00, 0.00}, // 107 reserved
}};

template <class F> constexpr auto column(F f) {
  using V = decltype(f(kTable[0]));
  std::array<V, Element::ncodes> out{};
  for (int i = 0; i < Element::ncodes; ++i)
    out[i] = f(kTable[i]);
  return out;
}

constexpr bool halogen_z(int z) { return z == 9 || z == 17 || z == 35 || z == 53 || z == 85; }

constexpr bool transition_metal_z(int z) {
  return (z >= 21 && z <= 30) || (z >= 39 && z <= 48) || (z >= 57 && z <= 80) ||
         (z >= 89 && z <= 103);
}

// The alkali and alkaline-earth metals and the heavier main-group metals.
constexpr bool main_group_metal_z(int z) {
  constexpr int metals[] = {3,  4,  11, 12, 13, 19, 20, 31, 32, 37, 38,
                            49, 50, 51, 55, 56, 81, 82, 83, 84, 87, 88};
  for (int m : metals)
    if (m == z)
      return true;
  return false;
}
} // namespace

const std::array<ElementData, Element::ncodes> Element::table_ = kTable;

const std::array<int, Element::ncodes> Element::atomic_numbers_ =
    column([](const ElementData& d) { return d.atomic_number; });
const std::array<double, Element::ncodes> Element::vdw_radii_ =
    column([](const ElementData& d) { return d.vdw_radius; });
const std::array<double, Element::ncodes> Element::covalent_radii_ =
    column([](const ElementData& d) { return d.covalent_radius; });
const std::array<unsigned char, Element::ncodes> Element::kinds_ =
    column([](const ElementData& d) -> unsigned char {
      const int z = d.atomic_number;
      return static_cast<unsigned char>((halogen_z(z) ? kHalogen : 0) |
                                        (transition_metal_z(z) ? kTransitionMetal | kMetal : 0) |
                                        (main_group_metal_z(z) ? kMetal : 0));
    });

Element::Element(VelkCode code) : code_(code >= 0 && code < ncodes ? code : Unknown) {}

Element::Element(const std::string& symbol) {
  VelkCode c = code_of(symbol);
  code_ = c < 0 ? Unknown : c;
}

namespace {
// Symbols have one or two letters: a letter pair indexes a table of codes (the second letter 0
// for none), filled once from the element table. Reading a CIF asks this for every atom site.
int letter_index(char c) {
  unsigned char u = static_cast<unsigned char>(std::tolower(static_cast<unsigned char>(c)));
  return u >= 'a' && u <= 'z' ? u - 'a' + 1 : -1;
}
} // namespace

Element::VelkCode Element::code_of(const std::string& symbol) {
  using Table = std::array<std::array<signed char, 27>, 27>;
  static const Table codes = [] {
    Table t;
    for (auto& row : t)
      row.fill(-1);
    for (int i = 0; i < ncodes; ++i) {
      const char* sym = table_[i].symbol;
      if (sym[0] == '\0')
        continue;
      t[letter_index(sym[0])][sym[1] == '\0' ? 0 : letter_index(sym[1])] = static_cast<signed char>(i);
    }
    return t;
  }();
  if (symbol.empty() || symbol.size() > 2)
    return -1;
  int first = letter_index(symbol[0]);
  int second = symbol.size() == 2 ? letter_index(symbol[1]) : 0;
  if (first < 0 || second < 0)
    return -1;
  return codes[first][second];
}

Element::VelkCode Element::code_of_atomic_number(int z) {
  if (z == 1)
    return Hydrogen;
  for (int i = 0; i < ncodes; ++i)
    if (table_[i].atomic_number == z && z > 0)
      return i;
  return Unknown;
}

void Element::print(std::ostream& os) const { os << symbol(); }

} // namespace xtalmotif
