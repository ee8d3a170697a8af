# The library layers above the kernel. A layer whose folder has no sources yet is skipped, so
# the tree builds at every stage.

set(_driver_names collection_search.cpp match_records.cpp motif_search.cpp substructure_placement.cpp
    contact_expansion.cpp prescreen.cpp)
file(GLOB _search_all CONFIGURE_DEPENDS search/*.cpp)
set(SEARCH_DRIVER_SOURCES "")
set(SEARCH_ENV_SOURCES "")
foreach(f IN LISTS _search_all)
  get_filename_component(n ${f} NAME)
  if(n IN_LIST _driver_names)
    list(APPEND SEARCH_DRIVER_SOURCES ${f})
  else()
    list(APPEND SEARCH_ENV_SOURCES ${f})
  endif()
endforeach()
file(GLOB RESULTS_SOURCES CONFIGURE_DEPENDS results/*.cpp)
file(GLOB FILES_SOURCES CONFIGURE_DEPENDS files/*.cpp)
file(GLOB LIBRARY_SOURCES CONFIGURE_DEPENDS library/*.cpp)

set(XTALMOTIF_LAYERS xtalmotif_kernel)
if(TARGET xtalmotif_motif)
  list(APPEND XTALMOTIF_LAYERS xtalmotif_motif)
endif()
if(SEARCH_ENV_SOURCES)
  xtalmotif_layer(xtalmotif_environment SOURCES ${SEARCH_ENV_SOURCES} DEPS xtalmotif_motif)
  list(APPEND XTALMOTIF_LAYERS xtalmotif_environment)
endif()
if(RESULTS_SOURCES)
  xtalmotif_layer(xtalmotif_results SOURCES ${RESULTS_SOURCES} DEPS xtalmotif_environment)
  list(APPEND XTALMOTIF_LAYERS xtalmotif_results)
endif()
if(SEARCH_DRIVER_SOURCES)
  xtalmotif_layer(xtalmotif_search SOURCES ${SEARCH_DRIVER_SOURCES}
                  DEPS xtalmotif_results nlohmann_json::nlohmann_json)
  list(APPEND XTALMOTIF_LAYERS xtalmotif_search)
endif()
if(FILES_SOURCES)
  xtalmotif_layer(xtalmotif_files SOURCES ${FILES_SOURCES} DEPS xtalmotif_motif)
  list(APPEND XTALMOTIF_LAYERS xtalmotif_files)
endif()
if(LIBRARY_SOURCES)
  xtalmotif_layer(xtalmotif_library SOURCES ${LIBRARY_SOURCES} DEPS xtalmotif_motif)
  list(APPEND XTALMOTIF_LAYERS xtalmotif_library)
  # Where the census of hydrogen-bonding groups is written: fixed when the library is built.
  set(XTALMOTIF_ACCEPTORS_DONORS_FILE "${CMAKE_BINARY_DIR}/xtalmotif_acceptors_donors.txt"
      CACHE FILEPATH "File written by ExtendedRingMotifs::count_acceptors_donors")
  target_compile_definitions(xtalmotif_library PRIVATE
      XTALMOTIF_ACCEPTORS_DONORS_FILE="${XTALMOTIF_ACCEPTORS_DONORS_FILE}")
endif()

# Everything, for the program, the tests and library users.
add_library(xtalmotif INTERFACE)
target_link_libraries(xtalmotif INTERFACE ${XTALMOTIF_LAYERS})

if(EXISTS ${PROJECT_SOURCE_DIR}/apps/CMakeLists.txt)
  add_subdirectory(apps)
endif()
