gen_add_model(polling DIRECTORY examples/polling)
