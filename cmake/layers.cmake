# The library, one static library per folder, in layers from the bottom up. A folder may include
# headers of its own layer and of the layers below it, never of one above: checked here, when the
# project is configured, from the #include lines of every source, so a new file is checked
# without being listed anywhere.
#
#   core     handles, geometry, atomic output files, digests, the executor interface
#   chem     elements, molecules, rings, bond perception, substructures, contact criteria
#   crystal  CIF reading, symmetry operators, assembly of a crystal's molecules
#   db       databases of crystal structures, screens and the screen index
#   motif    the motif: substructures, contacts and constraints
#   match    a match and where its atoms lie: lattice addresses, environment grid, resources
#   results  match records, contact geometry, graph sets, results files
#   search   the search driver: placement, contact expansion, prescreen, collection search
#   files    query files
#   library  the ready-made motifs
set(XTALMOTIF_LAYER_ORDER core chem crystal db motif match results search files library)

function(xtalmotif_check_layering)
  set(rank 0)
  foreach(layer IN LISTS XTALMOTIF_LAYER_ORDER)
    set(_rank_${layer} ${rank})
    math(EXPR rank "${rank} + 1")
  endforeach()
  set(_rank_apps ${rank})
  set(_rank_python ${rank})
  set(problems "")
  foreach(layer IN LISTS XTALMOTIF_LAYER_ORDER ITEMS apps python)
    file(GLOB_RECURSE sources ${PROJECT_SOURCE_DIR}/${layer}/*.h ${PROJECT_SOURCE_DIR}/${layer}/*.cpp)
    foreach(source IN LISTS sources)
      file(STRINGS ${source} includes REGEX "^#include \"[a-z_]+/")
      foreach(line IN LISTS includes)
        string(REGEX REPLACE "^#include \"([a-z_]+)/.*" "\\1" used "${line}")
        if(DEFINED _rank_${used} AND _rank_${used} GREATER _rank_${layer})
          file(RELATIVE_PATH where ${PROJECT_SOURCE_DIR} ${source})
          string(APPEND problems "\n  ${where}: ${line} (${used}/ lies above ${layer}/)")
        endif()
      endforeach()
    endforeach()
  endforeach()
  if(problems)
    message(FATAL_ERROR "includes that run up a layer:${problems}")
  endif()
endfunction()
xtalmotif_check_layering()

# Each layer is its own library and links the one below it.
set(XTALMOTIF_LAYERS "")
set(_below "")
foreach(layer IN LISTS XTALMOTIF_LAYER_ORDER)
  file(GLOB _sources CONFIGURE_DEPENDS ${layer}/*.cpp)
  add_library(xtalmotif_${layer} STATIC ${_sources})
  target_include_directories(xtalmotif_${layer} PUBLIC
      $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}> $<INSTALL_INTERFACE:${XTALMOTIF_INCLUDE_DIR}>)
  target_link_libraries(xtalmotif_${layer} PUBLIC ${_below})
  list(APPEND XTALMOTIF_LAYERS xtalmotif_${layer})
  set(_below xtalmotif_${layer})
endforeach()
target_link_libraries(xtalmotif_crystal PRIVATE ZLIB::ZLIB)
target_link_libraries(xtalmotif_db PRIVATE SQLite::SQLite3)
# Match records are JSON objects.
target_link_libraries(xtalmotif_search PUBLIC nlohmann_json::nlohmann_json)

# Where the census of hydrogen-bonding groups is written: fixed when the library is built.
set(XTALMOTIF_ACCEPTORS_DONORS_FILE "${CMAKE_BINARY_DIR}/xtalmotif_acceptors_donors.txt"
    CACHE FILEPATH "File written by ExtendedRingMotifs::count_acceptors_donors")
target_compile_definitions(xtalmotif_library PRIVATE
    XTALMOTIF_ACCEPTORS_DONORS_FILE="${XTALMOTIF_ACCEPTORS_DONORS_FILE}")

# Everything, for the program, the tests and library users.
add_library(xtalmotif INTERFACE)
target_link_libraries(xtalmotif INTERFACE ${_below})
target_include_directories(xtalmotif INTERFACE
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}> $<INSTALL_INTERFACE:${XTALMOTIF_INCLUDE_DIR}>)
