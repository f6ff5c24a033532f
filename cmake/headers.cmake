# check_headers(TARGET SCOPE BASE FOLDER): names the headers of BASE/FOLDER as those of TARGET, so that
# the target all_verify_interface_header_sets compiles each of them alone. SCOPE is INTERFACE for a
# target of that kind, else PUBLIC.
if(WIN32)
  set(K7K_OTHER_PLATFORM posix)
else()
  set(K7K_OTHER_PLATFORM win)
endif()

function(check_headers target scope base folder)
  file(GLOB headers CONFIGURE_DEPENDS ${base}/${folder}/*.h)
  list(FILTER headers EXCLUDE REGEX "_${K7K_OTHER_PLATFORM}\\.h$")
  target_sources(${target} ${scope} FILE_SET HEADERS BASE_DIRS ${base} FILES ${headers})
  set_target_properties(${target} PROPERTIES VERIFY_INTERFACE_HEADER_SETS ON)
endfunction()
