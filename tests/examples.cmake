gen_add_test_folder(examples/polling LIBS gen_model_polling DEPENDS gen-polling)
gen_add_test_folder(examples/multiproc LIBS gen_model_multiproc DEPENDS gen-multiproc)
gen_add_test_folder(examples/erlang LIBS gen_model_erlang DEPENDS gen-erlang)
gen_add_test_folder(examples/timer LIBS gen_model_timer DEPENDS gen-timer)
