gen_add_test_folder(examples/polling LIBS gen_model_polling DEPENDS gen-polling)
