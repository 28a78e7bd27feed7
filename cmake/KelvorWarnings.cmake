# One interface target carries the project's warning policy; every target of
# the project links it privately so that the flags never leak to consumers.
add_library(kelvor_warnings INTERFACE)
add_library(kelvor::warnings ALIAS kelvor_warnings)
target_compile_options(kelvor_warnings INTERFACE -Wall -Wextra -Wpedantic)
if(KELVOR_WERROR)
  target_compile_options(kelvor_warnings INTERFACE -Werror)
endif()
