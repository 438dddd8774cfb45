# Installs "unit", a service whose program is below /usr/sbin, with the folder "programs" in its place.
cmake_path(ABSOLUTE_PATH programs BASE_DIRECTORY "${CMAKE_INSTALL_PREFIX}" NORMALIZE)
string(REPLACE "%" "%%" programs "${programs}")
set(quote "")
if(programs MATCHES "[ \t']")
  set(quote "\"")
endif()

file(READ "${unit}" text)
string(REGEX REPLACE "ExecStart=/usr/sbin/([^ \n]+)" "ExecStart=${quote}${programs}/\\1${quote}"
  text "${text}")
cmake_path(GET unit FILENAME name)
set(unit "$ENV{DESTDIR}${CMAKE_INSTALL_PREFIX}/lib/systemd/system/${name}")
file(WRITE "${unit}" "${text}")
file(CHMOD "${unit}" PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
