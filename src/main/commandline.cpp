// Placeholder; replaced by the command-line parser.
