# Given to the project of the target as CMAKE_PROJECT_Target_INCLUDE: see joined.h.
set_source_files_properties(Requests.cpp PROPERTIES COMPILE_OPTIONS "-include;${CMAKE_CURRENT_LIST_DIR}/joined.h")
