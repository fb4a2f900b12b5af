# The benchmark's own programs: the kanban model, written by hand against the
# framework (gen-kanban_hand), and the hand-written floor for the polling model, a
# standalone generator that uses the standard library only (polling-floor).
gen_add_model(kanban_hand DIRECTORY bench/kanban)
add_executable(polling-floor ${CMAKE_SOURCE_DIR}/bench/floor/pollingFloor.cpp)
# The hand-written floor of the simulator's benchmark: the kanban model simulated
# directly (kanban-sim-floor).
add_executable(kanban-sim-floor ${CMAKE_SOURCE_DIR}/bench/floor/kanbanSimFloor.cpp)
