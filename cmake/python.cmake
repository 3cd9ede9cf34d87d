# The Python package bindings/python/invoice_extract, installed with the
# library into the prefix that the install actually uses (cmake --install
# --prefix and cpack decide it only when they run), where Debian's python3
# looks for it:
#   /usr         lib/python3/dist-packages         (every python3 version, as Debian's own packages)
#   /usr/local   lib/python3.X/dist-packages       (Debian's path for local installs)
#   any other    lib/python3.X/site-packages       (the user site for ~/.local, a prefix's usual
#                                                    layout elsewhere: add it to PYTHONPATH)
# -DINVOICE_EXTRACT_PYTHON_DIR=DIR (relative to the prefix, or absolute)
# overrides the choice, and -DINVOICE_EXTRACT_PYTHON=OFF leaves the module
# out. Beside the module goes _installed.py, the library's path relative to
# it, so that the module loads the library installed with it whatever the
# prefix.

option(INVOICE_EXTRACT_PYTHON "Install the Python package with the library" ON)
set(INVOICE_EXTRACT_PYTHON_DIR "" CACHE STRING
    "Folder of the Python package, relative to the prefix or absolute; empty: chosen by the prefix")

if(INVOICE_EXTRACT_PYTHON)
  # The X of python3.X: Debian's python3, which is the one that reads these folders.
  set(python_version "3")
  find_program(INVOICE_EXTRACT_SYSTEM_PYTHON3 python3 PATHS /usr/bin NO_DEFAULT_PATH)
  if(INVOICE_EXTRACT_SYSTEM_PYTHON3)
    execute_process(COMMAND ${INVOICE_EXTRACT_SYSTEM_PYTHON3} -c "import sys; print('%d.%d' % sys.version_info[:2])"
                    OUTPUT_VARIABLE python_version OUTPUT_STRIP_TRAILING_WHITESPACE)
  endif()
  install(CODE "
    set(python_dir \"${INVOICE_EXTRACT_PYTHON_DIR}\")
    if(python_dir STREQUAL \"\")
      if(CMAKE_INSTALL_PREFIX STREQUAL \"/usr\")
        set(python_dir lib/python3/dist-packages)
      elseif(CMAKE_INSTALL_PREFIX STREQUAL \"/usr/local\")
        set(python_dir lib/python${python_version}/dist-packages)
      else()
        set(python_dir lib/python${python_version}/site-packages)
      endif()
    endif()
    if(NOT IS_ABSOLUTE \"\${python_dir}\")
      set(python_dir \"\${CMAKE_INSTALL_PREFIX}/\${python_dir}\")
    endif()
    set(library_dir \"${CMAKE_INSTALL_LIBDIR}\")
    if(NOT IS_ABSOLUTE \"\${library_dir}\")
      set(library_dir \"\${CMAKE_INSTALL_PREFIX}/\${library_dir}\")
    endif()
    file(RELATIVE_PATH library \"\${python_dir}/invoice_extract\" \"\${library_dir}/libinvoice_extract.so.${PROJECT_VERSION_MAJOR}\")
    file(WRITE \"${PROJECT_BINARY_DIR}/python/_installed.py\"
         \"# Written by cmake --install: the library installed with this module, relative to it.\\nLIBRARY = \\\"\${library}\\\"\\n\")
    file(INSTALL \"${PROJECT_SOURCE_DIR}/bindings/python/invoice_extract/__init__.py\"
                 \"${PROJECT_SOURCE_DIR}/bindings/python/invoice_extract/py.typed\"
                 \"${PROJECT_BINARY_DIR}/python/_installed.py\"
         DESTINATION \"\${python_dir}/invoice_extract\")
  ")
endif()
