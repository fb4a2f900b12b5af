gen_add_model(polling DIRECTORY examples/polling)
gen_add_model(multiproc DIRECTORY examples/multiproc)
gen_add_model(erlang DIRECTORY examples/erlang)
gen_add_model(timer DIRECTORY examples/timer)
