// The xtalmotif Python module: reading crystal structures, the ready-made motifs and motifs of
// one's own, and searches of structures and collections, all done by the C++ library.

#include "python/binding.h"

#include "db/aser_database.h"
#include "crystal/cif_reader.h"

#include <cerrno>
#include <cstring>

namespace xtalmotif::python {

std::vector<std::string> path_arguments(const py::handle& paths) {
  std::vector<std::string> out;
  if (paths.is_none())
    return out;
  auto fspath = py::module_::import("os").attr("fspath");
  auto one = [&](const py::handle& p) {
    py::object text = fspath(p);
    if (!py::isinstance<py::str>(text))
      throw py::type_error("paths are given as str or os.PathLike, not bytes");
    out.push_back(text.cast<std::string>());
  };
  if (py::isinstance<py::str>(paths) || py::hasattr(paths, "__fspath__"))
    one(paths);
  else
    for (const py::handle& p : py::iter(paths))
      one(p);
  return out;
}

py::object to_python(const nlohmann::json& value) {
  using T = nlohmann::json::value_t;
  switch (value.type()) {
  case T::null: return py::none();
  case T::boolean: return py::bool_(value.get<bool>());
  case T::number_integer: return py::int_(value.get<long long>());
  case T::number_unsigned: return py::int_(value.get<unsigned long long>());
  case T::number_float: return py::float_(value.get<double>());
  case T::string: {
    const auto& s = value.get_ref<const std::string&>();
    PyObject* text = PyUnicode_DecodeUTF8(s.data(), static_cast<Py_ssize_t>(s.size()), "replace");
    if (!text)
      throw py::error_already_set();
    return py::reinterpret_steal<py::object>(text);
  }
  case T::array: {
    py::list out;
    for (const auto& v : value)
      out.append(to_python(v));
    return std::move(out);
  }
  case T::object: {
    py::dict out;
    for (const auto& [k, v] : value.items())
      out[py::str(k)] = to_python(v);
    return std::move(out);
  }
  default: return py::none();
  }
}

} // namespace xtalmotif::python

PYBIND11_MODULE(xtalmotif, m) {
  using namespace xtalmotif;
  using namespace xtalmotif::python;
  m.doc() = R"(Intermolecular motifs in crystal structures.

read() turns a CIF file into structures (cell, symmetry operators, molecules, atoms, bonds);
motif() and motif_names() give the ready-made motifs, Motif and Substructure build new ones, and
search() finds every arrangement of symmetry-related molecules that realises a motif in CIF
files, folders of them or a screen index, returning the hits with their contacts, symmetry codes,
hydrogen-bond geometry and graph sets.)";
  m.attr("__version__") = XTALMOTIF_VERSION;

  auto& cif_error = py::register_exception<CifError>(m, "CifError", PyExc_ValueError);
  cif_error.doc() = "A CIF file or data block that cannot be read as a crystal structure; the "
                    "message names the file, the block and the reason.";
  auto& motif_error = py::register_exception<MotifError>(m, "MotifError", PyExc_ValueError);
  motif_error.doc() = "A motif that cannot be made: an unknown name, a query file that cannot "
                      "be read, a contact or angle naming an atom that is not there.";
  auto& index_error =
      py::register_exception<ScreenIndexError>(m, "ScreenIndexError", PyExc_ValueError);
  index_error.doc() = "A screen index that cannot be used: not an index of this program, "
                      "damaged, or out of date with its CIF files.";
  py::register_exception_translator([](std::exception_ptr p) {
    try {
      if (p)
        std::rethrow_exception(p);
    } catch (const MissingFile& e) {
      // As open() raises it: errno, message and the file name as attributes.
      py::object error = py::reinterpret_borrow<py::object>(PyExc_FileNotFoundError)(
          ENOENT, std::strerror(ENOENT), e.path());
      PyErr_SetObject(PyExc_FileNotFoundError, error.ptr());
    }
  });

  bind_structures(m);
  bind_motifs(m);
  bind_search(m);
}
