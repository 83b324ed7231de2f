# Finds libtermkey (keys of a terminal) and libtinfo (ncurses' terminfo layer), which it stands on.
#
# Targets: TermKey::termkey, TermKey::tinfo.
include(FindPackageHandleStandardArgs)

find_path(TERMKEY_INCLUDE_DIR termkey.h)
find_library(TERMKEY_LIBRARY termkey)
find_path(TINFO_INCLUDE_DIR term.h)
find_library(TINFO_LIBRARY tinfo)

find_package_handle_standard_args(TermKey
  REQUIRED_VARS TERMKEY_LIBRARY TERMKEY_INCLUDE_DIR TINFO_LIBRARY TINFO_INCLUDE_DIR
  REASON_FAILURE_MESSAGE "Debian: libtermkey-dev, libncurses-dev")

if(TermKey_FOUND AND NOT TARGET TermKey::termkey)
  add_library(TermKey::termkey UNKNOWN IMPORTED)
  set_target_properties(TermKey::termkey PROPERTIES
    IMPORTED_LOCATION "${TERMKEY_LIBRARY}"
    INTERFACE_INCLUDE_DIRECTORIES "${TERMKEY_INCLUDE_DIR}")
  add_library(TermKey::tinfo UNKNOWN IMPORTED)
  set_target_properties(TermKey::tinfo PROPERTIES
    IMPORTED_LOCATION "${TINFO_LIBRARY}"
    INTERFACE_INCLUDE_DIRECTORIES "${TINFO_INCLUDE_DIR}")
endif()
mark_as_advanced(TERMKEY_INCLUDE_DIR TERMKEY_LIBRARY TINFO_INCLUDE_DIR TINFO_LIBRARY)
