# zentara_layer(NAME SOURCES ... [LINK ...] [PRIVATE ...])
#
# One folder of the client as a library. LINK names what its headers need and
# its users see too, PRIVATE what only its sources need. Includes are written
# from the repository's root for common/ and host/, and from
# pluginmodule/zentaragallery for the module's own folders. Layers are shared: a
# program that loads the module and runs its commands has one gallery, not two.
function(zentara_layer name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINK;PRIVATE" ${ARGN})
  add_library(${name} SHARED ${ARG_SOURCES})
  target_include_directories(${name} PUBLIC ${CMAKE_SOURCE_DIR} ${CMAKE_SOURCE_DIR}/pluginmodule/zentaragallery)
  target_link_libraries(${name} PUBLIC ${ARG_LINK} PRIVATE ${ARG_PRIVATE})
  install(TARGETS ${name} LIBRARY DESTINATION lib/zentara)
  zentara_precompile(${name})
endfunction()

# Standard headers that nearly every source includes, parsed once per target.
function(zentara_precompile name)
  target_precompile_headers(${name} PRIVATE
    <algorithm> <atomic> <chrono> <cstdint> <filesystem> <functional> <map> <memory> <mutex> <optional>
    <set> <shared_mutex> <sstream> <string> <string_view> <thread> <unordered_map> <utility> <vector>)
endfunction()
