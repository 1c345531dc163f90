# Run by "cmake --install", once it is known where to: installs what names other installed files by their full paths.
# The sources name the places of /usr, which any other prefix replaces, /etc and /var by folders of its own. Given:
# `source`, the sources, and `component`: daemon, tools, or next, which tells what is left to do.
string(REGEX REPLACE "/+$" "" prefix "${CMAKE_INSTALL_PREFIX}")
set(state ${prefix})
if(prefix STREQUAL "/usr")
  set(state "")
endif()
set(root "$ENV{DESTDIR}")

function(place from to)  # place SOURCE DESTINATION [EXECUTABLE]
  file(READ ${source}/packaging/${from} text)
  foreach(folder IN ITEMS /usr/lib/nimbolsp /usr/bin/nimbolspctl /usr/share/doc/nimbolsp)
    string(REPLACE /usr/ ${prefix}/ there ${folder})
    string(REPLACE ${folder} ${there} text "${text}")
  endforeach()
  string(REGEX REPLACE "/(etc|var/log|var/lib)/nimbolsp" "${state}/\\1/nimbolsp" text "${text}")
  if(NOT state STREQUAL "")  # systemd makes logs in /var alone
    string(REPLACE LogsDirectory=nimbolsp ReadWritePaths=${state}/var/log/nimbolsp text "${text}")
  endif()
  message(STATUS "Installing: ${root}${to}")
  file(WRITE ${root}${to} "${text}")
  if(ARGC GREATER 2)
    file(CHMOD ${root}${to} PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ
         WORLD_EXECUTE)
  else()
    file(CHMOD ${root}${to} PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
  endif()
endfunction()

set(units ${prefix}/lib/systemd/system)
if(component STREQUAL tools)
  place(systemd/nimbolspctl-serve.service ${units}/nimbolspctl-serve.service)
  return()
endif()

set(recipes ${prefix}/share/doc/nimbolsp/packaging)
set(profile ${state}/etc/nimbolsp/nimbolsp.ini)
if(component STREQUAL next)
  if(NOT root STREQUAL "")
    return()
  endif()
  set(link "")
  if(NOT prefix MATCHES "^/usr(/local)?$")
    set(link "\n  systemctl link ${units}/nimbolsp.service ${units}/nimbolsp@.service")
  endif()
  message("What is left to do, as root:
  systemd-sysusers ${prefix}/lib/sysusers.d/nimbolsp.conf         # the user nimbolsp
  systemd-tmpfiles --create ${prefix}/lib/tmpfiles.d/nimbolsp.conf    # its folder for logs${link}
  systemctl daemon-reload
  editor ${profile}
  ${prefix}/bin/nimbolspctl check ${profile}
  systemctl enable --now nimbolsp")
  return()
endif()

place(sbin/nimbolsp ${prefix}/sbin/nimbolsp EXECUTABLE)
file(GLOB helpers RELATIVE ${source}/packaging/helpers ${source}/packaging/helpers/*)
foreach(helper IN LISTS helpers)
  place(helpers/${helper} ${prefix}/lib/nimbolsp/${helper} EXECUTABLE)
endforeach()
place(fonts.conf ${prefix}/lib/nimbolsp/fonts.conf)
file(GLOB daemon_units RELATIVE ${source}/packaging/systemd ${source}/packaging/systemd/nimbolsp*.service)
list(FILTER daemon_units EXCLUDE REGEX nimbolspctl)
foreach(unit IN LISTS daemon_units)
  place(systemd/${unit} ${units}/${unit})
endforeach()
# The recipes were laid out as they are.
foreach(folder IN ITEMS failover firewall frontends guard systemd)
  file(GLOB files RELATIVE ${source}/packaging ${source}/packaging/${folder}/*)
  foreach(file IN LISTS files)
    if(file MATCHES "/web-load$")  # which is run
      place(${file} ${recipes}/${file} EXECUTABLE)
    else()
      place(${file} ${recipes}/${file})
    endif()
  endforeach()
endforeach()
place(systemd/nimbolsp.sysusers ${prefix}/lib/sysusers.d/nimbolsp.conf)
place(systemd/nimbolsp.tmpfiles ${prefix}/lib/tmpfiles.d/nimbolsp.conf)
file(COPY ${source}/packaging/nimboxi.ini DESTINATION ${root}${state}/var/lib/nimbolsp)
if(EXISTS ${root}${profile})
  message(STATUS "Kept: ${root}${profile}")
else()
  file(COPY ${source}/docs/nimbolsp.ini DESTINATION ${root}${state}/etc/nimbolsp)
endif()

if(NOT state STREQUAL "")
  file(MAKE_DIRECTORY ${root}${state}/var/log/nimbolsp)
endif()

# The names of the daemon's files beside it. Within a prefix they are relative: the tree may be moved.
set(outwards ${state})
if(NOT state STREQUAL "")
  set(outwards ../..)
endif()
file(CREATE_LINK ${outwards}/etc/nimbolsp/nimbolsp.ini ${root}${prefix}/lib/nimbolsp/nimbolsp.ini SYMBOLIC)
foreach(command IN ITEMS RUN START STOP bad)
  file(CREATE_LINK ${outwards}/var/log/nimbolsp/nimbolsp-${command}.log
       ${root}${prefix}/lib/nimbolsp/nimbolsp-${command}.log SYMBOLIC)
endforeach()
