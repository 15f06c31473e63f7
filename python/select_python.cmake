# Finds what the orvane Python module needs and sets ORVANE_PYTHON_MODULE (ON or OFF) with
# the reason in a status message. Included from the top-level CMakeLists before the tests, so
# that every find_package(Python3) of the build uses the interpreter chosen here.
#
# The interpreter: Python3_EXECUTABLE when given; otherwise the first of `python3` on PATH and
# /usr/bin/python3 that can import NumPy and has its C headers. (A Python from pyenv or a
# virtual environment often comes first on PATH without Debian's python3-numpy; Debian's own
# interpreter then builds and runs the module.)
set(ORVANE_PYTHON_MODULE OFF)

if(NOT Python3_EXECUTABLE)
  find_program(orvane_path_python NAMES python3 NO_CACHE)
  foreach(candidate IN ITEMS ${orvane_path_python} /usr/bin/python3)
    if(NOT EXISTS "${candidate}")
      continue()
    endif()
    execute_process(
      COMMAND "${candidate}" -c
        "import os, sysconfig, numpy; assert os.path.exists(os.path.join(sysconfig.get_paths()['include'], 'Python.h'))"
      RESULT_VARIABLE unusable OUTPUT_QUIET ERROR_QUIET)
    if(unusable EQUAL 0)
      set(Python3_EXECUTABLE "${candidate}" CACHE FILEPATH "Python interpreter for the orvane module and the tests")
      break()
    endif()
  endforeach()
endif()

find_package(Python3 COMPONENTS Interpreter Development.Module NumPy)
if(NOT Python3_FOUND OR NOT Python3_NumPy_FOUND)
  message(STATUS "orvane Python module: not built (no Python 3 with NumPy and C headers; "
                 "Debian: python3-dev python3-numpy)")
  return()
endif()
find_package(pybind11 CONFIG QUIET)
if(NOT pybind11_FOUND)
  message(STATUS "orvane Python module: not built (pybind11 not found; Debian: pybind11-dev)")
  return()
endif()

# Where `cmake --install` puts the module, relative to the prefix: the platform's layout for
# packages of that interpreter (Debian: lib/python3.X/dist-packages, which the Debian
# interpreter searches under /usr/local and /usr; elsewhere lib/python3.X/site-packages).
# Debian's default scheme files packages of /usr/local under "local/"; relative to an install
# prefix that part falls away.
if(NOT ORVANE_PYTHON_INSTALL_DIR)
  execute_process(
    COMMAND "${Python3_EXECUTABLE}" -c
      "import sysconfig\nscheme = sysconfig.get_default_scheme()\npath = sysconfig.get_path('platlib', scheme, vars={'base': '', 'platbase': ''}).lstrip('/')\nprint(path[len('local/'):] if scheme == 'posix_local' and path.startswith('local/') else path)"
    OUTPUT_VARIABLE orvane_python_dir OUTPUT_STRIP_TRAILING_WHITESPACE RESULT_VARIABLE failed)
  if(failed OR NOT orvane_python_dir)
    set(orvane_python_dir "${CMAKE_INSTALL_LIBDIR}/python${Python3_VERSION_MAJOR}.${Python3_VERSION_MINOR}/site-packages")
  endif()
  set(ORVANE_PYTHON_INSTALL_DIR "${orvane_python_dir}" CACHE STRING
      "Folder of the installed Python module, relative to the install prefix")
endif()

message(STATUS "orvane Python module: built for ${Python3_EXECUTABLE} (Python ${Python3_VERSION}, "
               "NumPy ${Python3_NumPy_VERSION}, pybind11 ${pybind11_VERSION}), installed to "
               "<prefix>/${ORVANE_PYTHON_INSTALL_DIR}")
set(ORVANE_PYTHON_MODULE ON)
