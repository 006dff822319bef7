# ReceiverClient::receiver_client is the static library, ReceiverClient::receiver_client_shared
# the shared one. The static one can also become part of a shared library.
include(CMakeFindDependencyMacro)
find_dependency(Threads)
include(${CMAKE_CURRENT_LIST_DIR}/ReceiverClientTargets.cmake)
