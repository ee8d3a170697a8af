#ifndef XTALMOTIF_PYTHON_BINDING_H
#define XTALMOTIF_PYTHON_BINDING_H

// What the parts of the Python module share: the motif object, the exceptions and the
// conversions of paths and records.

#include "crystal/crystal_maker.h"
#include "motif/motif.h"

#include <nlohmann/json.hpp>
#include <pybind11/pybind11.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace xtalmotif::python {

namespace py = pybind11;

/// A file or folder named by the caller that does not exist: FileNotFoundError in Python.
class MissingFile : public std::runtime_error {
public:
  explicit MissingFile(std::string path)
      : std::runtime_error(path + ": no such file or folder"), path_(std::move(path)) {}
  const std::string& path() const { return path_; }

private:
  std::string path_;
};

/// A motif that cannot be made or searched (an unknown name, a broken query file, a contact to
/// an atom that is not there): xtalmotif.MotifError, a ValueError, in Python.
class MotifError : public std::runtime_error {
public:
  explicit MotifError(const std::string& message) : std::runtime_error(message) {}
};

/// A motif as Python holds it. A ready-made motif is made afresh by its catalog builder; one
/// read from a query file or put together in Python keeps its parts, and every motif made from
/// it gets deep copies of them, so that no two search threads share a query.
class PyMotif {
public:
  std::string name;
  /// The catalog builder of a ready-made motif; empty for a motif made of parts.
  std::function<THandle<Motif>()> builder;
  /// Run on every structure before it is searched (the silver patterns cut the bonds to silver).
  std::function<void(const THandle<CrystalMaker>&)> prepare;
  std::vector<THandle<MotifSubstructure>> substructures;
  std::vector<THandle<MotifContact>> contacts;
  std::vector<THandle<MotifAngleConstraint>> angles;

  /// A new motif of its own.
  THandle<Motif> build() const;
};

/// The motif a search is asked for: a Motif, a ready-made motif's name or a query file.
PyMotif motif_argument(const py::handle& motif);

/// Paths given as a str, an os.PathLike or an iterable of them; none for None.
std::vector<std::string> path_arguments(const py::handle& paths);

/// A JSON record as plain Python values (dicts, lists, str, int, float, None); text that is not
/// UTF-8 is decoded with replacement characters.
py::object to_python(const nlohmann::json& value);

void bind_structures(py::module_& m);
void bind_motifs(py::module_& m);
void bind_search(py::module_& m);

} // namespace xtalmotif::python

#endif
