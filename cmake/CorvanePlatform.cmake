# Facts about the platform that portable code needs, found once here instead of #ifdefs in the
# sources.

# The modification time inside `struct stat`: st_mtim (POSIX 2008, glibc) or st_mtimespec (Darwin).
include(CheckStructHasMember)
check_struct_has_member("struct stat" st_mtim sys/stat.h CORVANE_HAVE_ST_MTIM LANGUAGE CXX)
if(CORVANE_HAVE_ST_MTIM)
  add_compile_definitions(CORVANE_STAT_MTIME=st_mtim)
else()
  check_struct_has_member("struct stat" st_mtimespec sys/stat.h CORVANE_HAVE_ST_MTIMESPEC LANGUAGE CXX)
  if(NOT CORVANE_HAVE_ST_MTIMESPEC)
    message(FATAL_ERROR "struct stat has neither st_mtim nor st_mtimespec")
  endif()
  add_compile_definitions(CORVANE_STAT_MTIME=st_mtimespec)
endif()
