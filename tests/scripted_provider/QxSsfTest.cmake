# qx_ssf_test(NAME SOURCES files... [DEPS targets...] [ENVIRONMENT variables...])
# A test program of the library's objects on the scripted provider.
function(qx_ssf_test name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPS;ENVIRONMENT" ${ARGN})
  qx_test(${name} SOURCES ${ARG_SOURCES} DEPS qxsapssf_objects qx_scripted_provider
          qx_allocation_hook ${ARG_DEPS} ENVIRONMENT ${ARG_ENVIRONMENT} REPLACES_NEW)
endfunction()
