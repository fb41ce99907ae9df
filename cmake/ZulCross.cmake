# Builds for another machine: the libraries that the tests need there, from sources and headers that Debian installs
# here.

# Header-only libraries work for any machine. They are made available one by one, as the rest of this machine's headers
# don't.
set(lent ${CMAKE_BINARY_DIR}/lent)
file(MAKE_DIRECTORY ${lent}/include)
foreach(library bitstream fmt)
  if(EXISTS /usr/include/${library})
    file(CREATE_LINK /usr/include/${library} ${lent}/include/${library} SYMBOLIC)
  endif()
endforeach()
list(APPEND CMAKE_FIND_ROOT_PATH ${lent})

list(APPEND CMAKE_MODULE_PATH ${CMAKE_SOURCE_DIR}/cmake/cross)
