// Substructure search of a four-atom query (a carboxylic acid C(=O)O-H) in molecules of growing
// size: n-alkyl chains carrying one acid group per ten carbons, 20 to 200 atoms.

#include "chem/molecule.h"
#include "chem/substructure.h"

#include <benchmark/benchmark.h>

using namespace xtalmotif;

namespace {

THandle<Molecule> acid_chain(int natoms_wanted) {
  auto m = make_handle<Molecule>();
  auto add = [&](int code) { return m->add_atom(make_handle<Atom>(Element(code))); };
  int prev = add(Element::Carbon);
  while (m->natoms() + 4 <= natoms_wanted) {
    int c = add(Element::Carbon);
    m->add_bond(prev, c, BondType::Single);
    if (m->natoms() % 10 == 0) {
      // A pendant acid group: C(=O)O-H.
      int ca = add(Element::Carbon);
      int o1 = add(Element::Oxygen);
      int o2 = add(Element::Oxygen);
      int h = add(Element::Hydrogen);
      m->add_bond(c, ca, BondType::Single);
      m->add_bond(ca, o1, BondType::Double);
      m->add_bond(ca, o2, BondType::Single);
      m->add_bond(o2, h, BondType::Single);
    } else {
      int h = add(Element::Hydrogen);
      m->add_bond(c, h, BondType::Single);
    }
    prev = c;
  }
  return m;
}

Substructure acid_query() {
  Substructure q;
  int c = q.add(make_handle<SubstructureAtom>(Element(Element::Carbon)));
  int o1 = q.add(make_handle<SubstructureAtom>(Element(Element::Oxygen)));
  int o2 = q.add(make_handle<SubstructureAtom>(Element(Element::Oxygen)));
  int h = q.add(make_handle<SubstructureAtom>(Element(Element::Hydrogen)));
  q.add(make_handle<SubstructureBond>(BondType::Double), c, o1);
  q.add(make_handle<SubstructureBond>(BondType::Single), c, o2);
  q.add(make_handle<SubstructureBond>(BondType::Single), o2, h);
  return q;
}

void BM_AcidQuery(benchmark::State& state) {
  THandle<Molecule> m = acid_chain(static_cast<int>(state.range(0)));
  Substructure q = acid_query();
  SubstructureSearch search;
  std::size_t hits = 0;
  for (auto _ : state) {
    auto found = search.search(q, *m);
    hits = found.size();
    benchmark::DoNotOptimize(found);
  }
  state.counters["atoms"] = m->natoms();
  state.counters["hits"] = static_cast<double>(hits);
  state.counters["searches_per_s"] =
      benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}

} // namespace

BENCHMARK(BM_AcidQuery)->Arg(20)->Arg(50)->Arg(100)->Arg(200);
BENCHMARK_MAIN();
