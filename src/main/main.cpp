// Placeholder driver; replaced by the run driver.
int main() { return 0; }
