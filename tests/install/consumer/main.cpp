// Searches the structures given after a query file and prints "<entry> <matches>" for each entry
// with a match: the smallest program a user of the installed library writes.
#include <xtalmotif.h>

#include <iostream>

int main(int argc, char** argv) {
  if (argc < 3) {
    std::cerr << "usage: consumer QUERY.con SOURCE...\n";
    return 2;
  }
  xtalmotif::ConFile query;
  if (!query.read(argv[1])) {
    std::cerr << argv[1] << ": not a query file\n";
    return 2;
  }
  auto db = xtalmotif::make_handle<xtalmotif::CifDatabase>(
      std::vector<std::string>(argv + 2, argv + argc));
  xtalmotif::CollectionSearchSettings settings;
  settings.limit = 0;
  const auto outcomes = xtalmotif::CollectionSearch(db, {}, settings).search([&] {
    return query.motif();
  });
  for (const auto& o : outcomes)
    if (!o.matches.empty())
      std::cout << o.id.str() << ' ' << o.matches.size() << '\n';
  return 0;
}
