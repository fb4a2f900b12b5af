// Placeholder; replaced by the shipped model's generated classes.
