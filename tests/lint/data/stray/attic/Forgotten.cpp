int forgotten();
