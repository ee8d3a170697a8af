// Motifs: the ready-made ones by name, query files, and motifs put together from substructures,
// contacts and angles with the library's own building blocks.

#include "python/binding.h"

#include "apps/motif_catalog.h"
#include "files/con_file.h"
#include "chem/condition.h"
#include "library/pre_defined_substructures.h"

#include <pybind11/stl.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <filesystem>
#include <optional>
#include <sstream>

namespace xtalmotif::python {

namespace {

/// A substructure being put together in Python; a motif takes a copy of it.
struct PySubstructure {
  THandle<MotifSubstructure> sub = make_handle<MotifSubstructure>();
};

std::string lower(std::string s) {
  for (char& c : s)
    c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return s;
}

const app::CatalogEntry* catalog_entry(const std::string& name) {
  for (const auto& e : app::motif_catalog())
    if (lower(e.name) == lower(name))
      return &e;
  return nullptr;
}

PyMotif ready_made(const std::string& name) {
  const app::CatalogEntry* e = catalog_entry(name);
  if (!e) {
    std::string msg = "unknown motif \"" + name + "\"; nearest names:";
    for (const auto& n : app::nearest_names(name, 5))
      msg += " \"" + n + "\"";
    throw MotifError(msg + " (xtalmotif.motif_names() lists them all)");
  }
  PyMotif m;
  m.name = e->name;
  m.builder = e->build;
  m.prepare = e->prepare;
  return m;
}

PyMotif from_con_file(const py::object& path_argument) {
  const std::vector<std::string> paths = path_arguments(path_argument);
  if (paths.size() != 1)
    throw py::type_error("from_con_file() takes one query file");
  const std::string& path = paths[0];
  std::error_code ec;
  if (!std::filesystem::exists(path, ec))
    throw MissingFile(path);
  QueryMotif query;
  try {
    query = read_query_motif(path);
  } catch (const QueryFileError& e) {
    throw MotifError(e.what());
  }
  for (const auto& w : query.warnings)
    if (PyErr_WarnEx(PyExc_UserWarning, w.c_str(), 1) != 0)
      throw py::error_already_set();
  const THandle<Motif>& built = query.motif;
  PyMotif m;
  m.name = built->name();
  m.substructures = *built->substructures();
  m.contacts = *built->contacts();
  m.angles = *built->angle_constraints();
  return m;
}

// A count asked of a query atom: a number, or a (low, high) range.
THandle<Condition> count_condition(const py::object& count, const char* what) {
  if (count.is_none())
    return {};
  if (py::isinstance<py::int_>(count))
    return make_handle<EqualTo>("equal to", count.cast<int>());
  auto range = count.cast<std::pair<int, int>>();
  if (range.first > range.second)
    throw MotifError(std::string(what) + " range " + std::to_string(range.first) + " to " +
                     std::to_string(range.second) + " holds no count");
  return make_handle<InclusiveRange>("in range", range.first, range.second);
}

std::vector<Element> elements_of(const py::object& element) {
  std::vector<std::string> symbols;
  if (element.is_none())
    return {};
  if (py::isinstance<py::str>(element))
    symbols.push_back(element.cast<std::string>());
  else
    symbols = element.cast<std::vector<std::string>>();
  std::vector<Element> out;
  for (const auto& s : symbols) {
    if (lower(s) == "any")
      return {};
    if (Element::code_of(s) < 0)
      throw MotifError("\"" + s + "\" is not an element symbol");
    out.emplace_back(s);
  }
  return out;
}

int add_atom(PySubstructure& s, const py::object& element, const py::object& hydrogens,
             const py::object& connections, const py::object& charge, const std::string& label) {
  auto atom = make_handle<SubstructureAtom>(elements_of(element));
  if (auto h = count_condition(hydrogens, "hydrogen"))
    atom->add_constraint(make_handle<AtomNHydrogensConstraint>(h, true));
  if (auto q = count_condition(charge, "charge"))
    atom->add_constraint(make_handle<AtomFormalChargeConstraint>(q));
  if (auto n = count_condition(connections, "connection"))
    atom->add_constraint(make_handle<AtomNBondsConstraint>(n));
  atom->set_label(label);
  return s.sub->add(atom);
}

int add_bond(PySubstructure& s, int a, int b, const py::object& type) {
  auto bond = make_handle<SubstructureBond>();
  if (!type.is_none()) {
    static const std::vector<std::pair<std::string, BondType>> names = {
        {"single", BondType::Single},       {"double", BondType::Double},
        {"triple", BondType::Triple},       {"quadruple", BondType::Quadruple},
        {"aromatic", BondType::Aromatic}};
    const std::string t = py::isinstance<py::int_>(type)
                              ? std::to_string(type.cast<int>())
                              : lower(type.cast<std::string>());
    auto it = std::find_if(names.begin(), names.end(), [&](const auto& n) {
      return n.first == t || std::to_string(static_cast<int>(n.second)) == t;
    });
    if (it == names.end() && t != "any")
      throw MotifError("bond type \"" + t + "\": give 1-4, single, double, triple, quadruple, "
                       "aromatic, any or None");
    if (it != names.end())
      bond->add_type(it->second);
  }
  try {
    return s.sub->add(bond, a, b);
  } catch (const std::invalid_argument& e) {
    throw MotifError(e.what());
  }
}

void check_editable(const PyMotif& m) {
  if (m.builder)
    throw MotifError("\"" + m.name + "\" is a ready-made motif and cannot be changed; put one "
                     "together with xtalmotif.Motif(name)");
}

void check_atom(const PyMotif& m, int sub, int atom) {
  if (sub < 0 || sub >= static_cast<int>(m.substructures.size()))
    throw MotifError("substructure " + std::to_string(sub) + ": the motif has " +
                     std::to_string(m.substructures.size()));
  const int n = m.substructures[static_cast<std::size_t>(sub)]->nnodes();
  if (atom < 0 || atom >= n)
    throw MotifError("atom " + std::to_string(atom) + " of substructure " + std::to_string(sub) +
                     ": it has " + std::to_string(n) + " atoms");
}

int add_contact(PyMotif& m, int from_sub, int from_atom, int to_sub, int to_atom, double upper,
                double lower_limit, bool vdw, const std::string& between) {
  check_editable(m);
  check_atom(m, from_sub, from_atom);
  check_atom(m, to_sub, to_atom);
  const std::string b = lower(between);
  if (b != "inter" && b != "intra" && b != "any")
    throw MotifError("between=\"" + between + "\": give \"inter\", \"intra\" or \"any\"");
  if (!std::isfinite(upper) || !std::isfinite(lower_limit) || !(lower_limit < upper))
    throw MotifError("a contact needs finite limits, lower below upper");
  const ContactType type = b == "inter" ? ContactType::Inter
                           : b == "intra" ? ContactType::Intra
                                          : ContactType::Any;
  // The same criterion as a query file's contact: intramolecular contacts four bonds apart or
  // more, element sets taken from the two query atoms.
  auto criterion = make_handle<CombinedCriterion>(vdw, upper, lower_limit, type, 4, 999, false,
                                                  make_handle<ElementSet>(),
                                                  make_handle<ElementSet>());
  m.contacts.push_back(make_handle<MotifContact>(from_sub, from_atom, to_sub, to_atom, criterion));
  return static_cast<int>(m.contacts.size()) - 1;
}

void add_angle(PyMotif& m, std::pair<int, int> first, std::pair<int, int> vertex,
               std::pair<int, int> last, double low, double high) {
  check_editable(m);
  for (const auto& [s, a] : {first, vertex, last})
    check_atom(m, s, a);
  if (!(low >= 0 && low <= high && high <= 180))
    throw MotifError("an angle range lies from 0 to 180 degrees, low below high");
  m.angles.push_back(make_handle<MotifAngleConstraint>(
      first.first, first.second, vertex.first, vertex.second, last.first, last.second,
      make_handle<InclusiveRange>("in range", low, high)));
}

std::string printed(const SubstructureAtom& a) {
  std::ostringstream os;
  a.print(os);
  return os.str();
}

} // namespace

THandle<Motif> PyMotif::build() const {
  if (builder)
    return builder();
  auto m = make_handle<Motif>(name);
  for (const auto& s : substructures)
    m->add_substructure(make_handle<MotifSubstructure>(*s));
  for (const auto& c : contacts)
    m->add_contact(c); // a private copy
  for (const auto& a : angles)
    m->add_angle_constraint(make_handle<MotifAngleConstraint>(*a));
  return m;
}

PyMotif motif_argument(const py::handle& motif) {
  if (py::isinstance<PyMotif>(motif))
    return motif.cast<PyMotif>();
  if (!py::isinstance<py::str>(motif) && !py::hasattr(motif, "__fspath__"))
    throw py::type_error("a motif is a Motif, a ready-made motif's name or a query file");
  const std::string text = path_arguments(motif).at(0);
  std::error_code ec;
  if (!catalog_entry(text) && text.size() > 4 && lower(text.substr(text.size() - 4)) == ".con" &&
      !std::filesystem::exists(text, ec))
    throw MissingFile(text);
  if (catalog_entry(text) || !std::filesystem::is_regular_file(text, ec))
    return ready_made(text);
  return from_con_file(py::reinterpret_borrow<py::object>(motif));
}

namespace {

void bind_substructure(py::module_& m) {
  py::class_<PySubstructure>(m, "Substructure",
                             "A chemical group a motif asks for: query atoms and bonds, the "
                             "atoms numbered from 0 in the order added.")
      .def(py::init([](const std::string& name) {
             PySubstructure s;
             s.sub->name = name;
             return s;
           }),
           py::arg("name") = "", "An empty group; add atoms and bonds to it.")
      .def_static(
          "predefined",
          [](const std::string& key) {
            PreDefinedSubstructures::GenerationOptions options;
            options.explicit_hydrogens = true;
            PySubstructure s;
            s.sub = PreDefinedSubstructures::make_sub(key, options);
            if (!s.sub)
              throw MotifError("no ready-made group \"" + key +
                               "\" (xtalmotif.substructure_names() lists them)");
            return s;
          },
          py::arg("key"),
          "A ready-made group by its key ('carboxylic acid', 'water', 'trans-amide'...), "
          "hydrogens as explicit atoms, as the ready-made motifs use it.")
      .def_property(
          "name", [](const PySubstructure& s) { return s.sub->name; },
          [](PySubstructure& s, const std::string& name) { s.sub->name = name; },
          "The group's name.")
      .def("add_atom", &add_atom, py::arg("element"), py::arg("hydrogens") = py::none(),
           py::arg("connections") = py::none(), py::arg("charge") = py::none(),
           py::arg("label") = "",
           R"(Adds a query atom and returns its index.

element: a symbol, a list of symbols, or 'any' / None for any element. hydrogens, connections
(bonded neighbours, hydrogens included) and charge: a number or a (low, high) range, None for
no requirement. label: a name printed with every atom it matches.)")
      .def("add_bond", &add_bond, py::arg("a"), py::arg("b"), py::arg("type") = py::none(),
           "Bonds atoms a and b and returns the bond's index; type is 1-4, 'single', "
           "'double', 'triple', 'quadruple', 'aromatic', or 'any' / None for any bond.")
      .def_property_readonly(
          "atoms",
          [](const PySubstructure& s) {
            std::vector<std::string> out;
            for (int i = 0; i < s.sub->nnodes(); ++i)
              out.push_back(printed(*s.sub->node(i)));
            return out;
          },
          "What each query atom asks for, as text, in index order.")
      .def_property_readonly(
          "bonds",
          [](const PySubstructure& s) {
            std::vector<std::pair<int, int>> out;
            for (const auto& e : s.sub->edges())
              out.emplace_back(e.atom1, e.atom2);
            return out;
          },
          "The bonds as (atom, atom) index pairs.")
      .def("__len__", [](const PySubstructure& s) { return s.sub->nnodes(); },
           "Number of query atoms.")
      .def("__repr__", [](const PySubstructure& s) {
        return "<Substructure '" + s.sub->name + "': " + std::to_string(s.sub->nnodes()) +
               " atoms, " + std::to_string(s.sub->nedges()) + " bonds>";
      });
}

void bind_motif(py::module_& m) {
  py::class_<PyMotif>(m, "Motif",
                      R"(An intermolecular motif: substructures joined by contacts between their
atoms, with optional angle constraints. xtalmotif.motif(name) gives a ready-made one,
Motif.from_con_file(path) reads a connectivity query file, and Motif(name) starts an empty one
to which substructures, contacts and angles are added.)")
      .def(py::init([](const std::string& name) {
             PyMotif p;
             p.name = name;
             return p;
           }),
           py::arg("name"), "An empty motif named `name`.")
      .def_static("from_con_file", &from_con_file, py::arg("path"),
                  "Reads a connectivity query file (.con). Raises FileNotFoundError, or "
                  "MotifError naming the file and line of a record that cannot be searched; "
                  "records read with fields guessed give a UserWarning.")
      .def_readwrite("name", &PyMotif::name, "The name that hits carry.")
      .def(
          "add_substructure",
          [](PyMotif& p, const PySubstructure& s) {
            check_editable(p);
            p.substructures.push_back(make_handle<MotifSubstructure>(*s.sub));
            return static_cast<int>(p.substructures.size()) - 1;
          },
          py::arg("substructure"),
          "Appends a copy of a Substructure and returns its index in the motif.")
      .def("add_contact", &add_contact, py::arg("from_substructure"), py::arg("from_atom"),
           py::arg("to_substructure"), py::arg("to_atom"), py::arg("upper") = 0.0,
           py::arg("lower") = -5.0, py::arg("vdw") = true, py::arg("between") = "inter",
           R"(Asks for a contact between two query atoms and returns its index.

The distance lies between `lower` and `upper` (both excluded): offsets in angstrom to the two
atoms' van der Waals radius sum when vdw is true (the default: closer than the sum), else
distances in angstrom. between: 'inter' (different molecules), 'intra' or 'any'.)")
      .def("add_angle", &add_angle, py::arg("first"), py::arg("vertex"), py::arg("last"),
           py::arg("low"), py::arg("high"),
           "Limits the angle first-vertex-last, each a (substructure, atom) pair, to low..high "
           "degrees (both included), such as the D-H...A angle of a hydrogen bond.")
      .def_property_readonly(
          "nsubstructures", [](const PyMotif& p) { return p.build()->nsubstructures(); },
          "Number of substructures.")
      .def_property_readonly(
          "ncontacts", [](const PyMotif& p) { return p.build()->ncontacts(); },
          "Number of contacts.")
      .def_property_readonly(
          "nangles",
          [](const PyMotif& p) { return static_cast<int>(p.build()->angle_constraints()->size()); },
          "Number of angle constraints.")
      .def("__repr__", [](const PyMotif& p) {
        const THandle<Motif> b = p.build();
        return "<Motif '" + p.name + "': " + std::to_string(b->nsubstructures()) +
               " substructures, " + std::to_string(b->ncontacts()) + " contacts, " +
               std::to_string(b->angle_constraints()->size()) + " angle constraints>";
      });
}

} // namespace

void bind_motifs(py::module_& m) {
  bind_substructure(m);
  bind_motif(m);
  m.def("motif", &ready_made, py::arg("name"),
        "The ready-made motif of this name (any case), such as 'carboxylic acid dimer' or "
        "'water ring of six'. Raises MotifError with the nearest names for an unknown one.");
  m.def(
      "motif_names",
      [] {
        std::vector<std::string> names;
        for (const auto& e : app::motif_catalog())
          names.push_back(e.name);
        return names;
      },
      "The names of the ready-made motifs: hydrogen-bonded pairs of predefined groups, water "
      "clusters, extended hydrogen-bonded rings and silver carboxylate patterns.");
  m.def("substructure_names", &PreDefinedSubstructures::substructure_names,
        "The keys of the ready-made groups for Substructure.predefined().");
}

} // namespace xtalmotif::python
