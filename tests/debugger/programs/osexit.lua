print("bye")
os.exit(3)
