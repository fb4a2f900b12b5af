# Models written in the model language: one line each builds gen-<name> from its
# model file (see cmake/GenModel.cmake).
gen_add_model(computer_file FILE models/computer/computer.san EXECUTABLE gen-computer)
gen_add_model(multiproc FILE models/multiproc/multiproc.san)
gen_add_model(erlang FILE models/erlang/erlang.san)
gen_add_model(timer FILE models/timer/timer.san)
gen_add_model(kanban FILE models/kanban/kanban.san)
gen_add_model(tandem FILE models/tandem/tandem.san)
gen_add_model(diskarray FILE models/diskarray/diskarray.san)
gen_add_model(stiff FILE models/stiff/stiff.san)
gen_add_model(ring FILE models/ring/ring.san)
gen_add_model(units FILE models/units/units.san)

# Twins of the hand-written examples while both exist.
gen_add_model(polling_file FILE models/polling/polling.san)
gen_add_model(mpscaled FILE models/mpscaled/mpscaled.san)
